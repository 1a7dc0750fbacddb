#pragma once

#include <cstddef>
#include <sstream>
#include <string>

// Takes what is written to std::cout and std::cerr, from its construction to its destruction.
class CapturedStreams
{
public:
    CapturedStreams();
    CapturedStreams(const CapturedStreams&) = delete;
    CapturedStreams& operator=(const CapturedStreams&) = delete;
    ~CapturedStreams();

    // What was written since the last call.
    std::string TakeOutput();
    std::string TakeMessages();

private:
    std::stringbuf output;
    std::stringbuf messages;
    std::streambuf* cout;
    std::streambuf* cerr;
};
