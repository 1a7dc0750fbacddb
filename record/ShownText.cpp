#include "ShownText.h"

#include <array>
#include <cstdio>

namespace kestrelRecord {

namespace {

constexpr size_t kLongest = 60;

std::string shown(char byte)
{
    if (byte >= 0x20 && byte <= 0x7e)
        return {byte};
    std::array<char, 8> text{};
    snprintf(text.data(), text.size(), "\\u%04x", static_cast<unsigned char>(byte));
    return text.data();
}

} // namespace

std::string shown(const std::string& text)
{
    std::string result;
    for (const char byte : text)
        result += shown(byte);
    return result;
}

std::string shownShort(const std::string& text)
{
    std::string result;
    for (const char byte : text) {
        const std::string next = shown(byte);
        if (result.size() + next.size() > kLongest)
            return result + "...";
        result += next;
    }
    return result;
}

std::string quoted(const std::string& text)
{
    std::string result = "\"";
    for (const char byte : text) {
        if (byte == '"' || byte == '\\')
            result += '\\';
        result += shown(byte);
    }
    return result + '"';
}

} // namespace kestrelRecord
