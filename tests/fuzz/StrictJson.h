#pragma once

#include <nlohmann/json.hpp>
#include <string>

// Keeps the members of an object in their order.
using Json = nlohmann::ordered_json;

// What the text stands for, or a discarded value, which is of no kind, if the text is not what the
// product takes for JSON. Shares nothing with the library that the product parses with.
Json ParseJson(const std::string& text);
