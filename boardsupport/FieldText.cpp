#include "FieldText.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace vantorBoardSupport {

namespace {

uint8_t PairToByte(const std::string& text, size_t place, int base)
{
    return static_cast<uint8_t>(strtol(text.substr(place, 2).c_str(), nullptr, base));
}

} // namespace

std::string FormatMac(const MacAddress& mac)
{
    std::array<char, 18> text{};
    snprintf(text.data(), text.size(), "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2],
             mac[3], mac[4], mac[5]);
    return text.data();
}

std::optional<MacAddress> ParseMac(const std::string& text)
{
    if (text.size() != 17)
        return std::nullopt;
    for (const size_t separator : {2U, 5U, 8U, 11U, 14U}) {
        if (text[separator] != ':')
            return std::nullopt;
    }

    MacAddress mac{};
    for (size_t octet = 0; octet < mac.size(); ++octet)
        mac[octet] = PairToByte(text, 3 * octet, 16);
    return mac;
}

std::string FormatDate(const EepromDate& date)
{
    std::array<char, 32> text{};
    snprintf(text.data(), text.size(), "%02i%02i-%02i-%02i %02i:%02i:%02i", date.century, date.year,
             date.month, date.day, date.hour, date.minute, date.second);
    return text.data();
}

EepromDate ParseDate(const std::string& text)
{
    EepromDate date;
    date.century = PairToByte(text, 0, 10);
    date.year = PairToByte(text, 2, 10);
    date.month = PairToByte(text, 5, 10);
    date.day = PairToByte(text, 8, 10);
    date.hour = PairToByte(text, 11, 10);
    date.minute = PairToByte(text, 14, 10);
    date.second = PairToByte(text, 17, 10);
    return date;
}

std::string ProductTypeToText(uint16_t productType)
{
    return "0x" + IdToText(productType);
}

uint16_t ProductTypeFromText(const std::string& text)
{
    // An empty text leaves the number as it is.
    uint16_t productType = 0;
    std::istringstream(text) >> std::hex >> productType;
    return productType;
}

std::string IdToText(uint64_t id)
{
    std::ostringstream text;
    text << std::hex << id;
    return text.str();
}

double CalibrationToDecibel(int32_t tenths)
{
    return static_cast<float>(tenths) / 10.0F;
}

} // namespace vantorBoardSupport
