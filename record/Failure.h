#pragma once

#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kestrelRecord {

// The exit statuses of the program.
enum class Status
{
    kDone = 0,
    kDiffers = 1,     // only of diff
    kUsage = 2,       // a wrong command line
    kRefused = 3,     // the document breaks a rule; no part was opened
    kFailed = 4,      // the system refused something
    kLocked = 5,      // another process holds the lock
    kUnfit = 6,       // the part cannot serve; nothing was written
    kNotVerified = 7, // the part does not hold what was written to it
};

// One thing that is wrong, with the key of the field it is wrong with, if any.
struct Error
{
    std::optional<std::string> field; // as given: any bytes
    std::string message;              // printable ASCII
};

// Ends a command with a status and everything that is wrong, at least one error.
class Failure : public std::exception
{
public:
    Failure(Status exitStatus, std::vector<Error> allErrors)
        : status(exitStatus), errors(std::move(allErrors))
    {
    }
    Failure(Status exitStatus, const std::string& message)
        : Failure(exitStatus, {{std::nullopt, message}})
    {
    }

    const char* what() const noexcept override
    {
        return errors.front().message.c_str();
    }

    const Status status;
    const std::vector<Error> errors;
};

} // namespace kestrelRecord
