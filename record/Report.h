#pragma once

#include "Comparison.h"
#include "Failure.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kestrelRecord {

// How a command came out. Where nothing was compared, nothing differs, also in a report on an
// error.
struct Report
{
    std::string result; // "written", "valid", ...
    Status status = Status::kDone;
    std::optional<uint32_t> version;
    Comparison comparison;
    std::vector<Error> errors;
};

// The keys that differ with both values, and the result as the last line.
std::string reportAsLines(const Report& report);

// One JSON object on one line. The values are those of a document.
std::string reportAsJson(const Report& report);

// One line for standard error.
std::string errorLine(const Error& error);

} // namespace kestrelRecord
