#include "CapturedFiles.h"

#include <cstdlib>

CapturedFiles::CapturedFiles() : oldOutput(stdout), oldMessages(stderr)
{
    stdout = output.file;
    stderr = messages.file;
}

CapturedFiles::~CapturedFiles()
{
    Take();
}

std::string CapturedFiles::TextOf(Stream& stream)
{
    if (stream.file == nullptr)
        return "";
    fclose(stream.file);
    stream.file = nullptr;
    std::string text(stream.text, stream.size);
    free(stream.text);
    return text;
}

std::pair<std::string, std::string> CapturedFiles::Take()
{
    stdout = oldOutput;
    stderr = oldMessages;
    return {TextOf(output), TextOf(messages)};
}
