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
    written = true;
    return target->sputc(traits_type::to_char_type(character));
}

int MessageWatch::sync()
{
    return target->pubsync();
}
