#include "TerminateHandler.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

namespace {

const char* nameOfProgram = "";

std::string messageOf(const std::exception_ptr& failure)
{
    try {
        if (failure)
            std::rethrow_exception(failure);
        return "terminated";
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "unknown error";
    }
}

[[noreturn]] void printMessageAndExit()
{
    const std::string line =
        std::string(nameOfProgram) + ": " + messageOf(std::current_exception()) + "\n";
    std::fputs(line.c_str(), stderr);
    std::_Exit(EXIT_FAILURE);
}

} // namespace

void installTerminateHandler(const char* programName)
{
    nameOfProgram = programName;
    std::set_terminate(printMessageAndExit);
}
