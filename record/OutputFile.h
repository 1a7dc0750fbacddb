#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kestrelRecord {

// Puts bytes into a file, or on standard output for "-". A regular file, or one that is not
// there, is replaced whole: by the new bytes or, on any failure, not at all. Anything else, such
// as a pipe, is opened and written. Throws Failure (kFailed).
void writeOutputFile(const std::string& path, const std::vector<uint8_t>& bytes);

} // namespace kestrelRecord
