#pragma once

#include <array>

// An argument that executes a whole-record command, or prints the usage text, wherever it appears.
struct SpecialWord
{
    const char* word;
    void (*action)(); // on eeprom
};

extern const std::array<SpecialWord, 5> specialWords;

// Executes the one command that the arguments give, through eeprom and menuEntries, and returns
// the exit status: 0, or -1 (255 to the caller of the program) with the usage text printed if no
// argument names an element. The first special word on the line is executed before anything else;
// otherwise the first argument that is an element's option selects it, and the argument after it
// is the value. Without "-r" the element is written. What is printed may still be buffered.
//
// Throws std::logic_error if a value to write is missing, and whatever the element throws.
int runCommandLine(int argc, const char* const argv[]);
