#pragma once

#include <string>

namespace kestrelRecord {

// How bytes that somebody else chose are shown: printable ASCII as it is, every other byte as
// \u00xx, so that no line break, terminal command or half a character gets into the output.

// The whole text, for a line of its own.
std::string shown(const std::string& text);

// The same cut after 60 characters, with "..." in the place of the rest, for use in messages.
std::string shownShort(const std::string& text);

// The text as a JSON string, with the quotes. Bytes from 0x80 on become U+0080 to U+00FF.
std::string quoted(const std::string& text);

} // namespace kestrelRecord
