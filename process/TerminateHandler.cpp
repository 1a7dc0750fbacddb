#include "TerminateHandler.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

namespace {

const char* nameOfProgram = "";
int statusOfFailure = 1;

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
    std::_Exit(statusOfFailure);
}

} // namespace

void installTerminateHandler(const char* programName, int status)
{
    nameOfProgram = programName;
    statusOfFailure = status;
    std::set_terminate(printMessageAndExit);
}
