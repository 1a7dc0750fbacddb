#pragma once

#include "Failure.h"
#include "FieldTable.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kestrelRecord {

// A field with the value that the record is to show for it.
struct NamedValue
{
    const Field* field;
    std::string value;
};

// A field's value from the command line, as it was typed.
struct Setting
{
    std::string key;
    std::string value;
};

// A document in which every rule is kept: no field twice, each value stands in some version that
// takes all of them, or in the one that is named.
struct Document
{
    std::optional<uint32_t> version; // if it is named
    std::vector<NamedValue> values;  // without the version
};

enum class VersionIs
{
    kOptional,
    kRequired,
};

// Reads the JSON of a document and puts the settings in the places of what it says, the last one
// for each key. Without text there are only the settings. Throws Failure (kRefused) with
// everything that is wrong.
Document parseDocument(const std::optional<std::string>& text, const std::vector<Setting>& settings,
                       VersionIs versionIs);

// An error for each value that the version cannot hold.
std::vector<Error> misfits(const Document& document, uint32_t version);

} // namespace kestrelRecord
