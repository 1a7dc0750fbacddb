#pragma once

#include <cstdint>

namespace vantorBoardSupport {

// A point in time as it lies in the record: 7 plain binary bytes (not BCD). The year 2024 is
// century 20, year 24.
struct EepromDate
{
    uint8_t century = 0;
    uint8_t year = 0;
    uint8_t month = 0;
    uint8_t day = 0;
    uint8_t hour = 0;
    uint8_t minute = 0;
    uint8_t second = 0;
};

static_assert(sizeof(EepromDate) == 7, "dates are read from and written to the record in place");

} // namespace vantorBoardSupport
