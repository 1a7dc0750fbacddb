#include "JsonText.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef0123456789ABCDEF";

struct NotJson
{
};

bool IsDigit(char character)
{
    return character >= '0' && character <= '9';
}

std::string Utf8(uint32_t code)
{
    const auto last = [code](int shift) {
        return static_cast<char>(0x80U | (code >> shift & 0x3FU));
    };
    if (code < 0x80)
        return {static_cast<char>(code)};
    if (code < 0x800)
        return {static_cast<char>(0xC0U | code >> 6), last(0)};
    if (code < 0x10000)
        return {static_cast<char>(0xE0U | code >> 12), last(6), last(0)};
    return {static_cast<char>(0xF0U | code >> 18), last(12), last(6), last(0)};
}

// The code of a character of several bytes that text begins with.
uint32_t CodeOf(std::string_view text, size_t length)
{
    uint32_t code = static_cast<unsigned char>(text[0]) & (0xFFU >> (length + 1));
    for (size_t i = 1; i < length && i < text.size(); ++i)
        code = code << 6 | (static_cast<unsigned char>(text[i]) & 0x3FU);
    return code;
}

class Parser
{
public:
    explicit Parser(std::string_view text) : rest(text) {}

    JsonValue Whole()
    {
        JsonValue value = Value();
        Require(Next() == '\0' && rest.empty());
        return value;
    }

private:
    static void Require(bool holds)
    {
        if (!holds)
            throw NotJson();
    }

    // The next character after blanks, not yet taken; zero at the end.
    char Next()
    {
        rest.remove_prefix(std::min(rest.find_first_not_of(" \t\n\r"), rest.size()));
        return rest.empty() ? '\0' : rest[0];
    }

    bool TakeIf(std::string_view word)
    {
        if (rest.substr(0, word.size()) != word)
            return false;
        rest.remove_prefix(word.size());
        return true;
    }

    char Take()
    {
        Require(!rest.empty());
        const char first = rest[0];
        rest.remove_prefix(1);
        return first;
    }

    // Goes over "first, second, third" up to the end mark.
    template <typename TakeOne> void List(std::string_view end, TakeOne takeOne)
    {
        Next();
        if (TakeIf(end))
            return;
        do {
            takeOne();
            Next();
        } while (TakeIf(","));
        Require(TakeIf(end));
    }

    JsonValue Value()
    {
        JsonValue value;
        const char next = Next();
        if (TakeIf("\"")) {
            value.kind = JsonValue::Kind::kString;
            value.text = String();
        } else if (TakeIf("[")) {
            value.kind = JsonValue::Kind::kArray;
            List("]", [&] { value.elements.push_back(Value()); });
        } else if (TakeIf("{")) {
            value.kind = JsonValue::Kind::kObject;
            List("}", [&] { TakeMember(value); });
        } else if (next == '-' || IsDigit(next)) {
            value.kind = JsonValue::Kind::kNumber;
            value.number = Number();
        } else {
            Require(TakeIf("true") || TakeIf("false") || TakeIf("null"));
        }
        return value;
    }

    void TakeMember(JsonValue& object)
    {
        Next();
        Require(TakeIf("\""));
        const std::string key = String();
        Require(key.find('\0') == std::string::npos);
        for (const auto& member : object.members)
            Require(member.first != key);
        Next();
        Require(TakeIf(":"));
        object.members.emplace_back(key, Value());
    }

    size_t Digits()
    {
        const auto* const end = std::find_if_not(rest.begin(), rest.end(), IsDigit);
        const auto count = static_cast<size_t>(end - rest.begin());
        rest.remove_prefix(count);
        return count;
    }

    double Number()
    {
        const std::string_view begin = rest;
        TakeIf("-");
        const bool zero = TakeIf("0");
        Require(zero || Digits() > 0);
        if (TakeIf("."))
            Require(Digits() > 0);
        if (TakeIf("e") || TakeIf("E")) {
            if (!TakeIf("+"))
                TakeIf("-");
            Require(Digits() > 0);
        }
        const std::string digits(begin.substr(0, begin.size() - rest.size()));
        const double number = std::strtod(digits.c_str(), nullptr);
        Require(std::isfinite(number));
        return number;
    }

    // What follows the opening quotation mark.
    std::string String()
    {
        std::string text;
        for (;;) {
            const auto byte = static_cast<unsigned char>(rest.empty() ? '\0' : rest[0]);
            Require(byte >= 0x20);
            if (TakeIf("\""))
                return text;
            if (TakeIf("\\"))
                text += Escape();
            else if (byte < 0x80)
                text += Take();
            else
                text += Character();
        }
    }

    // One of several bytes, in its shortest form, and no half of a pair.
    std::string Character()
    {
        const auto first = static_cast<unsigned char>(rest[0]);
        const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
        const uint32_t code = CodeOf(rest, length);
        const std::string text(rest.substr(0, length));
        Require(code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF) && Utf8(code) == text);
        rest.remove_prefix(length);
        return text;
    }

    std::string Escape()
    {
        constexpr std::string_view kLetters = "\"\\/bfnrt";
        constexpr std::string_view kMeant = "\"\\/\b\f\n\r\t";
        const char letter = Take();
        const size_t place = kLetters.find(letter);
        if (place != std::string_view::npos)
            return {kMeant[place]};
        Require(letter == 'u');
        const uint32_t code = FourDigits();
        Require(code < 0xDC00 || code > 0xDFFF);
        if (code < 0xD800 || code > 0xDFFF)
            return Utf8(code);
        Require(TakeIf("\\u"));
        const uint32_t second = FourDigits();
        Require(second >= 0xDC00 && second <= 0xDFFF);
        return Utf8(0x10000 + ((code - 0xD800) << 10) + (second - 0xDC00));
    }

    uint32_t FourDigits()
    {
        uint32_t code = 0;
        for (int i = 0; i < 4; ++i) {
            const size_t digit = kHexDigits.find(Take());
            Require(digit != std::string_view::npos);
            code = code * 16 + digit % 16;
        }
        return code;
    }

    std::string_view rest;
};

} // namespace

std::optional<JsonValue> ParseJson(std::string_view text)
{
    try {
        return Parser(text).Whole();
    } catch (const NotJson&) {
        return std::nullopt;
    }
}
