#include "Comparison.h"

namespace kestrelRecord {

Comparison compareRecords(const MemoryRecord* before, const MemoryRecord& after)
{
    Comparison comparison;
    comparison.hasBefore = before != nullptr;
    for (const Field& field : fieldTable()) {
        if (!isIn(field, after.version()))
            continue;
        const std::string is = field.read(after);
        const std::string was = before != nullptr ? field.read(*before) : "";
        if (before == nullptr || was != is)
            comparison.changes.push_back({&field, was, is});
    }
    return comparison;
}

} // namespace kestrelRecord
