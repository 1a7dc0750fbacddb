#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// A value of JSON. Knows nothing of the library that the product parses with.
struct JsonValue
{
    enum class Kind
    {
        kString,
        kNumber,
        kArray,
        kObject,
        kOther, // true, false or null
    };

    Kind kind = Kind::kOther;
    std::string text; // of a string: UTF-8, and may have zero bytes
    double number = 0.0;
    std::vector<JsonValue> elements;                        // of an array
    std::vector<std::pair<std::string, JsonValue>> members; // of an object, in their order
};

// Nothing unless the text is one JSON value and blanks around it. Refused, too: a key twice in an
// object, a zero byte in a key, and a number too large for a double.
std::optional<JsonValue> ParseJson(std::string_view text);
