#pragma once

#include "Options.h"

#include <string>

namespace kestrelRecord {

struct Command
{
    const char* name;
    const char* arguments; // as shown to users
    CommandSyntax syntax;
    const char* purpose;
    int (*run)(const Options& options); // returns the exit status, throws nothing expected
};

// Null if there is no such command.
const Command* findCommand(const std::string& name);

// The text of --help for all commands, and for one.
std::string generalHelp();
std::string commandHelp(const Command& command);

} // namespace kestrelRecord
