#include "CommandLine.h"

#include "MenuEntryTable.h"
#include "Usage.h"

#include <cstring>
#include <iostream>
#include <stdexcept>

const std::array<SpecialWord, 5> specialWords = {{
    {"--help", printUsage},
    {"--raw", [] { eeprom->DumpRecord(); }},
    {"--erase", [] { eeprom->Erase(); }},
    {"--format_v1", [] { eeprom->Format(1); }},
    {"--format_v2", [] { eeprom->Format(2); }},
}};

namespace {

enum AccessMode
{
    kModeNotGiven = -1,
    kRead = 0,
    kWrite = 1,
};

const SpecialWord* findSpecialWord(const char* argument)
{
    for (const SpecialWord& special : specialWords) {
        if (strcmp(argument, special.word) == 0)
            return &special;
    }
    return nullptr;
}

Menuentry* findEntry(const char* option)
{
    for (Menuentry* entry : menuEntries) {
        if (entry->option == option)
            return entry;
    }
    return nullptr;
}

// value is a null pointer if nothing follows the option.
void writeElement(Menuentry& entry, const char* value)
{
    if (value != nullptr)
        entry.SetValue(value);
    else if (entry.selectable)
        throw std::logic_error("basic_string::_S_construct null not valid");
}

int runElement(AccessMode mode, int argc, const char* const argv[])
{
    for (int i = 1; i < argc; ++i) {
        Menuentry* entry = findEntry(argv[i]);
        if (entry == nullptr)
            continue;
        if (mode == kRead)
            std::cout << entry->display() << std::endl;
        else
            writeElement(*entry, argv[i + 1]);
        return 0;
    }
    printUsage();
    return -1;
}

} // namespace

int runCommandLine(int argc, const char* const argv[])
{
    AccessMode mode = kModeNotGiven;
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "-r") == 0) {
            mode = kRead;
        } else if (strcmp(argv[i], "-w") == 0) {
            mode = kWrite;
        } else if (const SpecialWord* special = findSpecialWord(argv[i])) {
            special->action();
            return 0;
        }
    }
    return runElement(mode, argc, argv);
}
