#include "Crc32.h"

namespace vantorBoardSupport {

uint32_t Crc32(const uint8_t* data, uint32_t length, uint32_t start, bool invert)
{
    constexpr uint32_t kReflectedPolynomial = 0xEDB88320;

    // No branch depends on the data: half of them would be predicted wrongly.
    uint32_t crc = start;
    for (uint32_t i = 0; i < length; ++i) {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (kReflectedPolynomial & (0 - (crc & 1U)));
    }
    return invert ? ~crc : crc;
}

} // namespace vantorBoardSupport
