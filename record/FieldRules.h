#pragma once

#include <jansson.h>
#include <optional>
#include <string>

namespace kestrelRecord {

// What a value of a document must be. Each takes the value as JSON, whose numbers are all real
// ones, and returns the text that the record shows for it once it is stored, or nothing if the
// value is refused. How long a text may be is not looked at here, except where there is one
// length only.

using ValueText = std::optional<std::string>;

ValueText versionValue(const json_t* value);     // 1 or 2
ValueText macValue(const json_t* value);         // not all zero, not a group address
ValueText dateValue(const json_t* value);        // one that exists, 2013 to 2099
ValueText typeValue(const json_t* value);        // 0x and 1 to 4 hexadecimal digits
ValueText revisionValue(const json_t* value);    // 3 printable ASCII characters
ValueText printableValue(const json_t* value);   // printable ASCII characters, or none
ValueText idValue(const json_t* value);          // 0x and 16 hexadecimal digits
ValueText ariValue(const json_t* value);         // 0x105c8000 to 0x105c8fff
ValueText calibrationValue(const json_t* value); // 8 whole tenths of a decibel, -5.0 to 5.0
ValueText block8Value(const json_t* value);      // 16 hexadecimal digits

} // namespace kestrelRecord
