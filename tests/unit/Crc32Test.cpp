#include "Crc32.h"

#include "TemporaryDevice.h"

#include <gtest/gtest.h>

using vantorBoardSupport::Crc32;

namespace {

constexpr uint32_t kStart = 0xFFFFFFFF;

uint32_t CrcOf(const Bytes& bytes)
{
    return Crc32(bytes.data(), static_cast<uint32_t>(bytes.size()), kStart, true);
}

} // namespace

TEST(Crc32, PublishedVectorsMatch)
{
    EXPECT_EQ(CrcOf(BytesOf("123456789")), 0xCBF43926U); // the standard check value
    EXPECT_EQ(CrcOf(BytesOf("a")), 0xE8B7BE43U);
    EXPECT_EQ(CrcOf(BytesOf("abc")), 0x352441C2U);
    EXPECT_EQ(CrcOf(BytesOf("The quick brown fox jumps over the lazy dog")), 0x414FA339U);
    EXPECT_EQ(CrcOf(Bytes(32, 0x00)), 0x190A55ADU);
    EXPECT_EQ(CrcOf(Bytes(32, 0xFF)), 0xFF6CAB0BU);
}

TEST(Crc32, NoBytesGiveTheStartValueInvertedOrNotAsAsked)
{
    EXPECT_EQ(Crc32(nullptr, 0, kStart, true), 0U);
    EXPECT_EQ(Crc32(nullptr, 0, kStart, false), kStart);
    EXPECT_EQ(Crc32(nullptr, 0, 0x12345678, true), 0xEDCBA987U);
}

TEST(Crc32, WithoutInversionTheRegisterIsReturnedAsItIs)
{
    const Bytes digits = BytesOf("123456789");
    EXPECT_EQ(Crc32(digits.data(), 9, kStart, false), ~0xCBF43926U);
}

TEST(Crc32, ARegisterCarriedOverContinuesTheComputation)
{
    const Bytes digits = BytesOf("123456789");
    const uint32_t first = Crc32(digits.data(), 4, kStart, false);
    EXPECT_EQ(Crc32(digits.data() + 4, 5, first, true), 0xCBF43926U);
}
