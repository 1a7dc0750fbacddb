#pragma once

#include <string>

namespace kestrelRecord {

// The system's text for errno. To be called before anything else can change it.
std::string lastSystemText();

} // namespace kestrelRecord
