#pragma once

#include <string>
#include <system_error>

// What the call throws, if it throws exactly an Exception; a text that no exception has otherwise.
template <typename Exception, typename Call> std::string MessageOf(Call call)
{
    try {
        call();
    } catch (const Exception& error) {
        return typeid(error) == typeid(Exception) ? error.what() : "(another exception)";
    }
    return "(no exception)";
}

// The error code of the std::system_error that the call throws, or -1.
template <typename Call> int ErrnoOf(Call call)
{
    try {
        call();
    } catch (const std::system_error& error) {
        return error.code().category() == std::system_category() ? error.code().value() : -1;
    }
    return -1;
}
