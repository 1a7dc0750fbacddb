#pragma once

#include "FieldTable.h"

#include <string>
#include <vector>

namespace kestrelRecord {

struct Change
{
    const Field* field;
    std::string before; // empty if there was no record to compare with
    std::string after;
};

// What differs between what a part holds and what it is to hold, in the order of the fields.
struct Comparison
{
    bool hasBefore = true; // false: there was no intact record of that version, every field is new
    std::vector<Change> changes;
};

// Compares every field of after's version. before is null if there was no intact record of it.
Comparison compareRecords(const MemoryRecord* before, const MemoryRecord& after);

} // namespace kestrelRecord
