#include "MessageWatch.h"

#include <iostream>
#include <utility>

MessageWatch::MessageWatch() : target(std::cerr.rdbuf(this)) {}

MessageWatch::~MessageWatch()
{
    std::cerr.rdbuf(target);
}

bool MessageWatch::TakeWritten()
{
    return std::exchange(written, false);
}

MessageWatch::int_type MessageWatch::overflow(int_type character)
{
    if (traits_type::eq_int_type(character, traits_type::eof()))
        return traits_type::not_eof(character);
    written = true;
    return target->sputc(traits_type::to_char_type(character));
}

std::streamsize MessageWatch::xsputn(const char* text, std::streamsize length)
{
    written = true;
    return target->sputn(text, length);
}

int MessageWatch::sync()
{
    return target->pubsync();
}
