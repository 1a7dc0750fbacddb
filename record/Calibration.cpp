#include "Calibration.h"

#include <cmath>
#include <cstdlib>

namespace kestrelRecord {

namespace {

std::string decibelToText(int64_t tenths)
{
    const int64_t size = std::abs(tenths);
    std::string text = (tenths < 0 ? "-" : "") + std::to_string(size / 10);
    if (size % 10 != 0)
        text += "." + std::to_string(size % 10);
    return text;
}

} // namespace

std::string calibrationToText(const Calibration& tenths)
{
    std::string text;
    for (const int32_t value : tenths)
        text += (text.empty() ? "[" : ", ") + decibelToText(value);
    return text + "]";
}

Calibration calibrationFromText(const std::string& text)
{
    Calibration tenths{};
    const char* rest = text.c_str();
    for (int32_t& value : tenths) {
        char* end = nullptr;
        value = static_cast<int32_t>(std::lround(strtod(rest + 1, &end) * 10.0));
        rest = end;
    }
    return tenths;
}

} // namespace kestrelRecord
