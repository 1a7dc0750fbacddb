#include "TextRules.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr std::string_view kDigits = "0123456789abcdef";
constexpr uint32_t kLimit = 0x10000;

// Returns base for a character that is not a digit.
uint32_t DigitValue(char character, uint32_t base)
{
    const bool upper = character >= 'A' && character <= 'F';
    const char lower = upper ? static_cast<char>(character - 'A' + 'a') : character;
    const size_t value = kDigits.find(lower);
    return value < base ? static_cast<uint32_t>(value) : base;
}

// Modulo 2^16, and 0xFFFF for 2^16 and more, with either sign.
uint16_t LeadingNumber(std::string_view text, uint32_t base)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    const bool negative = !text.empty() && text[0] == '-';
    if (negative || (!text.empty() && text[0] == '+'))
        text.remove_prefix(1);
    if (base == 16 && (text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X"))
        text.remove_prefix(2);

    uint32_t number = 0;
    for (const char character : text) {
        const uint32_t digit = DigitValue(character, base);
        if (digit == base)
            break;
        number = std::min(number * base + digit, kLimit);
    }
    if (number == kLimit)
        return 0xFFFF;
    return static_cast<uint16_t>(negative ? kLimit - number : number);
}

uint8_t Pair(const std::string& text, size_t place, uint32_t base)
{
    return static_cast<uint8_t>(LeadingNumber(std::string_view(text).substr(place, 2), base));
}

} // namespace

std::string Digits(uint64_t number, unsigned int base, size_t width)
{
    std::string text;
    for (; number != 0 || text.size() < width; number /= base)
        text.insert(text.begin(), kDigits[number % base]);
    return text;
}

std::string ExpectedMacText(const Octets& mac)
{
    std::string text;
    for (const uint8_t octet : mac)
        text += Digits(octet, 16, 2) + ":";
    text.pop_back();
    return text;
}

std::string ExpectedDateText(const DateParts& date)
{
    std::string text = Digits(date[0], 10, 2);
    for (size_t i = 1; i < date.size(); ++i)
        text += Digits(date[i], 10, 2) + "-- ::"[i - 1];
    text.pop_back();
    return text;
}

std::optional<Octets> ExpectedMac(const std::string& text)
{
    if (text.size() != 17)
        return std::nullopt;
    Octets mac{};
    for (size_t i = 0; i < mac.size(); ++i) {
        if (i > 0 && text[3 * i - 1] != ':')
            return std::nullopt;
        mac[i] = Pair(text, 3 * i, 16);
    }
    return mac;
}

std::optional<DateParts> ExpectedDate(const std::string& text)
{
    if (text.size() < 17)
        return std::nullopt;
    DateParts date = {Pair(text, 0, 10)};
    for (size_t i = 1; i < date.size(); ++i)
        date[i] = Pair(text, 3 * i - 1, 10);
    return date;
}

uint16_t ExpectedProductType(const std::string& text)
{
    return LeadingNumber(text, 16);
}
