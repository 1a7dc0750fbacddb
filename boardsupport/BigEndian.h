#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace vantorBoardSupport {

// The unsigned number whose most significant byte is bytes[0]; reads sizeof(Unsigned) bytes.
template <typename Unsigned> constexpr Unsigned LoadBigEndian(const uint8_t* bytes)
{
    static_assert(std::is_unsigned_v<Unsigned>, "shifting a signed value into its sign bit");
    Unsigned value = 0;
    for (size_t i = 0; i < sizeof(Unsigned); ++i)
        value = static_cast<Unsigned>((value << 8) | bytes[i]);
    return value;
}

// The bytes of value, the most significant first.
template <typename Unsigned>
constexpr std::array<uint8_t, sizeof(Unsigned)> StoreBigEndian(Unsigned value)
{
    static_assert(std::is_unsigned_v<Unsigned>, "shifting a signed value");
    std::array<uint8_t, sizeof(Unsigned)> bytes{};
    for (size_t i = 0; i < sizeof(Unsigned); ++i)
        bytes[i] = static_cast<uint8_t>(value >> (8 * (sizeof(Unsigned) - 1 - i)));
    return bytes;
}

} // namespace vantorBoardSupport
