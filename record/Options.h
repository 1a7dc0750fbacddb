#pragma once

#include "Document.h"
#include "FieldTable.h"
#include "VaEeprom.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace kestrelRecord {

// What the arguments of a command say.
struct Options
{
    bool help = false;
    std::string device = vantorBoardSupport::VaEeprom::kDevicePath;
    std::chrono::seconds wait{10};
    bool damaged = false;
    std::vector<Setting> settings;
    bool format = false;
    bool dryRun = false;
    bool json = false;
    std::optional<std::string> output;
    std::optional<std::string> document; // a path, or "-"
    std::vector<const Field*> fields;
};

enum class Operands
{
    kFields,
    kDocument,
};

// What a command takes: its options by their letters, which optionHelp explains.
struct CommandSyntax
{
    const char* options;
    Operands operands;
};

// Reads the arguments after the command's name, argv[0]; argv must end with a null pointer.
// Throws Failure (kUsage) with what is wrong. After --help, the rest is not looked at.
Options parseOptions(const CommandSyntax& syntax, int argc, char* argv[]);

// A line for each of the command's options.
std::string optionHelp(const CommandSyntax& syntax);

} // namespace kestrelRecord
