#pragma once

#include "Comparison.h"
#include "Failure.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kestrelRecord {

// What a command did. As long as nothing was compared, nothing differs: changed is empty, and
// before and after are empty objects.
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

// One JSON object on one line, its keys always in the same order. The values are those of a
// document.
std::string reportAsJson(const Report& report);

// One line for standard error.
std::string errorLine(const Error& error);

} // namespace kestrelRecord
