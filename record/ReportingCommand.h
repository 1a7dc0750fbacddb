#pragma once

#include "HeldSignals.h"
#include "Options.h"
#include "Report.h"

namespace kestrelRecord {

// What a command that reports works with. The destructor comes after the report.
struct Session
{
    const Options& options;
    Report report{};
    HeldSignals signals{};
    const char* partState = nullptr; // for messages; null while no part is involved
};

// What is said of the part when something fails.
constexpr const char* kNotChanged = "the part was not changed";
constexpr const char* kMaybeChanged = "the part may have been changed";
constexpr const char* kChanged = "the part was changed";

// Prints a result on standard output. Throws Failure (kFailed) if it cannot be written.
void printResult(const std::string& text);

// Runs work, which fills the report, and prints the report: lines or JSON on standard output,
// every error as a line on standard error. Returns the exit status. What work throws is reported
// as well, anything but a Failure with kFailed.
int runReporting(const Options& options, void (*work)(Session& session));

// The same for a command whose output is not a report: only errors are printed.
int runPlain(const Options& options, void (*work)(Session& session));

} // namespace kestrelRecord
