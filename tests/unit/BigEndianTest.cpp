#include "BigEndian.h"

#include <array>
#include <gtest/gtest.h>

using vantorBoardSupport::LoadBigEndian;
using vantorBoardSupport::StoreBigEndian;

TEST(BigEndian, TheFirstByteIsTheMostSignificantAndNoneIsTakenAsSigned)
{
    const uint8_t bytes[] = {0x80, 0xFF, 0x80, 0xFE, 0xFD, 0xFC, 0xFB, 0xFA};
    EXPECT_EQ(LoadBigEndian<uint16_t>(bytes), 0x80FFU);
    EXPECT_EQ(LoadBigEndian<uint32_t>(bytes), 0x80FF80FEU);
    EXPECT_EQ(LoadBigEndian<uint64_t>(bytes), 0x80FF80FEFDFCFBFAU);
}

TEST(BigEndian, StoringPutsTheMostSignificantByteFirst)
{
    EXPECT_EQ(StoreBigEndian<uint16_t>(0x1234), (std::array<uint8_t, 2>{0x12, 0x34}));
    EXPECT_EQ(StoreBigEndian<uint32_t>(0x12345678),
              (std::array<uint8_t, 4>{0x12, 0x34, 0x56, 0x78}));
    EXPECT_EQ(StoreBigEndian<uint64_t>(0xFEDCBA9876543210),
              (std::array<uint8_t, 8>{0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10}));
}
