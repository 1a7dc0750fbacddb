#pragma once

#include "Comparison.h"
#include "Document.h"
#include "MemoryRecord.h"

#include <cstddef>
#include <cstdint>

namespace kestrelRecord {

// The bytes from begin to just before end.
struct ByteRange
{
    size_t begin = 0;
    size_t end = 0;
};

// What one write has to carry so that before becomes after: from the first byte that differs to
// the last one, and on to crcEnd if it begins before that. Empty if nothing differs. Both have
// the same length.
ByteRange rangeToWrite(const PartBytes& before, const PartBytes& after, uint32_t crcEnd);

// What a part is to hold.
struct WritePlan
{
    uint32_t version; // of the record that results
    PartBytes bytes;
    ByteRange range; // what of it has to be written
    Comparison comparison;
};

// Works out what a part that holds these bytes is to hold. With format every field that the
// document does not name gets the value of a fresh record; otherwise it keeps its own, which an
// intact record of the same version must have. Throws Failure (kUnfit) if the part has none or
// has no room.
WritePlan planWrite(const Document& document, bool format, const PartBytes& part);

// What differs between the record of a part and the fields that the document names. Throws
// Failure (kUnfit) if the record is not intact, or has not the field or the room.
Comparison compareWithDocument(const Document& document, const PartBytes& part);

// Makes the bytes of a new part, with the values of a fresh record for what is not named. The
// document must name the version. 128 bytes, or 2048 with 0xff from the 256th on.
std::vector<uint8_t> makeImage(const Document& document);

} // namespace kestrelRecord
