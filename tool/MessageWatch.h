#pragma once

#include <streambuf>

// Notices that something was written to std::cerr, which it passes on unchanged, from its
// construction to its destruction. There can be one at a time.
class MessageWatch : public std::streambuf
{
public:
    MessageWatch();
    MessageWatch(const MessageWatch&) = delete;
    MessageWatch& operator=(const MessageWatch&) = delete;
    ~MessageWatch() override;

    // Whether anything was written since the last call.
    bool TakeWritten();

protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize length) override;
    int sync() override;

private:
    std::streambuf* target;
    bool written = false;
};
