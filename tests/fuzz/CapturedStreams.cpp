#include "CapturedStreams.h"

#include <iostream>

namespace {

std::string Take(std::stringbuf& buffer)
{
    std::string text = buffer.str();
    buffer.str("");
    return text;
}

} // namespace

CapturedStreams::CapturedStreams()
    : cout(std::cout.rdbuf(&output)), cerr(std::cerr.rdbuf(&messages))
{
}

CapturedStreams::~CapturedStreams()
{
    std::cout.rdbuf(cout);
    std::cerr.rdbuf(cerr);
}

std::string CapturedStreams::TakeOutput()
{
    return Take(output);
}

std::string CapturedStreams::TakeMessages()
{
    return Take(messages);
}
