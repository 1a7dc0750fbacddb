#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace kestrelRecord {

// The eight calibration values of a record, in tenths of a decibel.
using Calibration = std::array<int32_t, 8>;

// As a JSON array in decibel with one decimal at most: "[0, -2.5, 1, ...]".
std::string calibrationToText(const Calibration& tenths);

// The other way round; text must be of that form.
Calibration calibrationFromText(const std::string& text);

} // namespace kestrelRecord
