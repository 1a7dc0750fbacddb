#pragma once

#include <string>

namespace kestrelRecord {

// The whole of a file, or of standard input for "-". Throws Failure: kFailed if it cannot be
// read, kRefused if it has more than 1 MiB.
std::string readDocumentFile(const std::string& path);

} // namespace kestrelRecord
