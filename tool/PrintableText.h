#pragma once

#include <string>

// The text with "?" for every byte that is not a printable ASCII character: on a terminal it takes
// one column for each byte, and moves nothing.
std::string printableText(std::string text);
