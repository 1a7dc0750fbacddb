#pragma once

#include <cstdint>

namespace vantorBoardSupport {

// The standard CRC-32 (ISO-HDLC, IEEE 802.3; reflected polynomial 0xEDB88320) over length bytes.
// The register starts at start and is inverted at the end when invert is set; the record's CRC
// uses 0xFFFFFFFF and true. No bytes give start itself, inverted or not.
uint32_t Crc32(const uint8_t* data, uint32_t length, uint32_t start, bool invert);

} // namespace vantorBoardSupport
