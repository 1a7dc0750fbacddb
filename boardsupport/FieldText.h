#pragma once

#include "EepromDate.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace vantorBoardSupport {

// The text forms of the record's fields, as users type and see them. Pure conversions: nothing
// here touches the record.

using MacAddress = std::array<uint8_t, 6>; // first octet first

// "02:a5:5e:00:00:0a", always 17 characters.
std::string FormatMac(const MacAddress& mac);

// Takes exactly 17 characters with ":" at every third place; nothing otherwise. The pairs between
// are converted like strtol would, and the low 8 bits kept: "zz" is 0, " f" is 0x0f, "-1" is 0xff.
std::optional<MacAddress> ParseMac(const std::string& text);

// "YYYY-MM-DD HH:MM:SS". Values are not range-checked; one above 99 widens the text.
std::string FormatDate(const EepromDate& date);

// Takes the seven pairs of digits from their places in "YYYY-MM-DD HH:MM:SS" and looks at nothing
// else: neither separators nor ranges nor what follows. A pair that is not a number is 0. Throws
// std::out_of_range if the text ends before the place of a pair.
EepromDate ParseDate(const std::string& text);

// "0x" and the number in lower-case hexadecimal, without leading zeros.
std::string ProductTypeToText(uint16_t productType);

// Reads a hexadecimal number with or without "0x", as a stream does: a text without digits is 0,
// a number too large is 0xFFFF, a sign is taken, what follows the digits is ignored.
uint16_t ProductTypeFromText(const std::string& text);

// Lower-case hexadecimal without prefix and leading zeros.
std::string IdToText(uint64_t id);

// A calibration value in decibel from its stored tenths, rounded to single precision.
double CalibrationToDecibel(int32_t tenths);

} // namespace vantorBoardSupport
