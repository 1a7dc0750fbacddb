#include "Crc32.h"

namespace vantorBoardSupport {

uint32_t Crc32(const uint8_t* data, uint32_t length, uint32_t start, bool invert)
{
    constexpr uint32_t kReflectedPolynomial = 0xEDB88320;

    uint32_t crc = start;
    for (uint32_t i = 0; i < length; ++i) {
        for (unsigned int bit = 0; bit < 8; ++bit) {
            const bool feedback = ((crc ^ (uint32_t{data[i]} >> bit)) & 1U) != 0;
            crc >>= 1;
            if (feedback)
                crc ^= kReflectedPolynomial;
        }
    }
    return invert ? ~crc : crc;
}

} // namespace vantorBoardSupport
