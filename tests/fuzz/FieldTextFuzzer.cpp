// The text forms of the fields against their rules.

#include "Expect.h"
#include "FieldText.h"
#include "TextRules.h"

#include <algorithm>
#include <stdexcept>

using namespace vantorBoardSupport;

namespace {

DateParts PartsOf(const EepromDate& date)
{
    return {date.century, date.year, date.month, date.day, date.hour, date.minute, date.second};
}

std::optional<DateParts> Date(const std::string& text)
{
    try {
        return PartsOf(ParseDate(text));
    } catch (const std::out_of_range&) {
        return std::nullopt;
    }
}

// Almost no text has its separators in place by chance.
std::string WithSeparators(std::string text)
{
    text.resize(17, '0');
    for (const size_t place : {2U, 5U, 8U, 11U, 14U})
        text[place] = ':';
    return text;
}

void CheckTexts(const std::string& text)
{
    const std::string likeAMac = WithSeparators(text);
    Expect(ParseMac(text) == ExpectedMac(text), "ParseMac");
    Expect(ParseMac(likeAMac) == ExpectedMac(likeAMac), "ParseMac with separators");
    Expect(Date(text) == ExpectedDate(text), "ParseDate");
    Expect(ProductTypeFromText(text) == ExpectedProductType(text), "ProductTypeFromText");
}

void CheckValues(const std::array<uint8_t, 8>& bytes)
{
    const Octets mac = {bytes[0], bytes[1], bytes[2], bytes[3], bytes[4], bytes[5]};
    Expect(FormatMac(mac) == ExpectedMacText(mac), "FormatMac");
    Expect(ParseMac(FormatMac(mac)) == mac, "a MAC that was printed");

    const EepromDate date = {bytes[0], bytes[1], bytes[2], bytes[3], bytes[4], bytes[5], bytes[6]};
    const DateParts parts = PartsOf(date);
    Expect(FormatDate(date) == ExpectedDateText(parts), "FormatDate");
    if (*std::max_element(parts.begin(), parts.end()) <= 99)
        Expect(Date(FormatDate(date)) == parts, "a date that was printed");

    uint64_t id = 0;
    for (const uint8_t byte : bytes)
        id = id * 256 + byte;
    Expect(IdToText(id) == Digits(id, 16), "IdToText");

    const auto type = static_cast<uint16_t>(id);
    Expect(ProductTypeToText(type) == "0x" + Digits(type, 16), "ProductTypeToText");
    Expect(ProductTypeFromText(ProductTypeToText(type)) == type, "a type that was printed");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CheckTexts(std::string(data, data + size));

    std::array<uint8_t, 8> bytes{};
    std::copy_n(data, std::min(size, bytes.size()), bytes.begin());
    CheckValues(bytes);
    return 0;
}
