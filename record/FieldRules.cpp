#include "FieldRules.h"

#include "Calibration.h"
#include "FieldText.h"

#include <cctype>
#include <cmath>
#include <cstdlib>

namespace kestrelRecord {

namespace {

ValueText textOf(const json_t* value)
{
    if (!json_is_string(value))
        return std::nullopt;
    return std::string(json_string_value(value), json_string_length(value));
}

bool hasForm(char character, char form)
{
    const auto byte = static_cast<unsigned char>(character);
    if (form == 'h')
        return isxdigit(byte) != 0;
    return form == 'd' ? isdigit(byte) != 0 : character == form;
}

// In form, h stands for a hexadecimal digit and d for a decimal one.
bool hasForm(const std::string& text, const std::string& form)
{
    bool same = text.size() == form.size();
    for (size_t i = 0; same && i < form.size(); ++i)
        same = hasForm(text[i], form[i]);
    return same;
}

std::string lowerCase(std::string text)
{
    for (char& character : text)
        character = static_cast<char>(tolower(static_cast<unsigned char>(character)));
    return text;
}

ValueText hexValue(const json_t* value, const std::string& form)
{
    const ValueText text = textOf(value);
    if (!text || !hasForm(*text, form))
        return std::nullopt;
    return lowerCase(*text);
}

int lastDayOf(int month, int year)
{
    if (month == 2)
        return year % 4 == 0 ? 29 : 28; // 2100 cannot be stored
    return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

bool exists(const vantorBoardSupport::EepromDate& date)
{
    return date.century == 20 && date.year >= 13 && date.month >= 1 && date.month <= 12 &&
           date.day >= 1 && date.day <= lastDayOf(date.month, date.year) && date.hour <= 23 &&
           date.minute <= 59 && date.second <= 59;
}

} // namespace

ValueText versionValue(const json_t* value)
{
    for (const int version : {1, 2}) {
        if (json_is_real(value) && json_real_value(value) == version)
            return std::to_string(version);
    }
    return std::nullopt;
}

ValueText macValue(const json_t* value)
{
    ValueText text = hexValue(value, "hh:hh:hh:hh:hh:hh");
    if (!text || *text == "00:00:00:00:00:00")
        return std::nullopt;
    const bool group = (vantorBoardSupport::ParseMac(*text).value()[0] & 1U) != 0;
    return group ? std::nullopt : text;
}

ValueText dateValue(const json_t* value)
{
    ValueText text = textOf(value);
    if (!text || !hasForm(*text, "dddd-dd-dd dd:dd:dd") ||
        !exists(vantorBoardSupport::ParseDate(*text)))
        return std::nullopt;
    return text;
}

ValueText typeValue(const json_t* value)
{
    for (const char* form : {"0xh", "0xhh", "0xhhh", "0xhhhh"}) {
        if (const ValueText text = hexValue(value, form))
            return vantorBoardSupport::ProductTypeToText(
                vantorBoardSupport::ProductTypeFromText(*text));
    }
    return std::nullopt;
}

ValueText revisionValue(const json_t* value)
{
    ValueText text = printableValue(value);
    return text && text->size() == 3 ? text : std::nullopt;
}

ValueText printableValue(const json_t* value)
{
    ValueText text = textOf(value);
    for (const char character : text.value_or("")) {
        if (character < 0x20 || character > 0x7e)
            return std::nullopt;
    }
    return text;
}

ValueText idValue(const json_t* value)
{
    return hexValue(value, "0xhhhhhhhhhhhhhhhh");
}

ValueText ariValue(const json_t* value)
{
    ValueText text = hexValue(value, "0xhhhhhhhh");
    return text && text->compare(0, 7, "0x105c8") == 0 ? text : std::nullopt;
}

ValueText calibrationValue(const json_t* value)
{
    Calibration tenths{};
    if (!json_is_array(value) || json_array_size(value) != tenths.size())
        return std::nullopt;
    for (size_t i = 0; i < tenths.size(); ++i) {
        const json_t* element = json_array_get(value, i);
        const double decibel = json_real_value(element);
        if (!json_is_real(element) || std::fabs(decibel) > 5.0)
            return std::nullopt;
        tenths[i] = static_cast<int32_t>(std::lround(decibel * 10.0));
        if (decibel != tenths[i] / 10.0)
            return std::nullopt;
    }
    return calibrationToText(tenths);
}

ValueText block8Value(const json_t* value)
{
    return hexValue(value, "hhhhhhhhhhhhhhhh");
}

} // namespace kestrelRecord
