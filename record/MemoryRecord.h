#pragma once

#include "VaEeprom.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kestrelRecord {

// The formatted bytes of a part: all 128 of the small one, the first 255 of the 2048 of the
// large one. No format version has a field after them.
using PartBytes = std::vector<uint8_t>;

constexpr size_t kSmallPartBytes = 128;
constexpr size_t kLargePartBytes = vantorBoardSupport::VaEeprom::kVersion2HeaderLength;

// A copy of a part in memory, read, set and formatted by the members of the record itself: there
// is no second layout and no second encoding. It does not touch the part.
class MemoryRecord : public vantorBoardSupport::VaEeprom
{
public:
    // Throws std::system_error if there is no memory for it, and what the record throws.
    explicit MemoryRecord(const PartBytes& part);

    // Why the record is not intact, printable; empty if it is. Intact is a record with a version
    // that fits the part, the pattern and the right CRC.
    std::string damage() const;

    // Makes every field readable that the record is too damaged to show: the layout follows from
    // the version word if it is 1, otherwise from the size of the part, and the CRC is made anew.
    void overlookDamage();

    // The format version in force.
    uint32_t version() const;

    // Where the CRC of the version in force ends.
    uint32_t crcEnd() const;

    // As many bytes as were given, as they are now.
    PartBytes bytes() const;

private:
    bool fitsPart(uint32_t versionWord) const;

    size_t length;
};

} // namespace kestrelRecord
