#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <utility>

// Takes what is written to stdout and stderr, from its construction to Take. Messages of the
// sanitizers still come through.
class CapturedFiles
{
public:
    CapturedFiles();
    CapturedFiles(const CapturedFiles&) = delete;
    CapturedFiles& operator=(const CapturedFiles&) = delete;
    ~CapturedFiles();

    // What was written to stdout, and what to stderr. Both go to where they went before again.
    std::pair<std::string, std::string> Take();

private:
    struct Stream
    {
        char* text = nullptr;
        size_t size = 0;
        FILE* file = open_memstream(&text, &size);
    };

    static std::string TextOf(Stream& stream);

    Stream output;
    Stream messages;
    FILE* oldOutput;
    FILE* oldMessages;
};
