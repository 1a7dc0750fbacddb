#pragma once

#include "FieldRules.h"
#include "MemoryRecord.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kestrelRecord {

// One field of a document. A value is handled as the text that the record shows for it.
struct Field
{
    const char* key;
    bool isText; // a string in the document; otherwise the value is JSON as it is

    // The most characters that a value may have in versions 1 and 2; 0 for a version that does
    // not have the field.
    std::array<size_t, 2> room;

    ValueText (*check)(const json_t*);
    const char* rule; // continues "must be "
    std::string (*read)(const MemoryRecord&);
    int32_t (*set)(MemoryRecord&, const std::string& value); // 0, or -1 if refused or absent
};

// All fields, in the order in which a document is printed. A new field is a new row.
const std::vector<Field>& fieldTable();

// Null if no field has this key.
const Field* findField(const std::string& key);

bool isIn(const Field& field, uint32_t version);

// Why version cannot hold this value of the field; empty if it can.
std::string misfit(const Field& field, const std::string& value, uint32_t version);

// The value as it stands in a document.
std::string asJson(const Field& field, const std::string& value);

} // namespace kestrelRecord
