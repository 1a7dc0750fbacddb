#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

// What the text forms of the fields have to be, stated character by character: the library's own
// parsers and printers, which the product uses, are not used here.

using Octets = std::array<uint8_t, 6>;
using DateParts = std::array<uint8_t, 7>;

// At least width digits, in lower case.
std::string Digits(uint64_t number, unsigned int base, size_t width = 1);

std::string ExpectedMacText(const Octets& mac);
std::string ExpectedDateText(const DateParts& date);

// Nothing for a text that is refused.
std::optional<Octets> ExpectedMac(const std::string& text);

// Nothing for a text that is too short.
std::optional<DateParts> ExpectedDate(const std::string& text);

uint16_t ExpectedProductType(const std::string& text);
