#include "FieldText.h"

#include <gtest/gtest.h>

using namespace vantorBoardSupport;

TEST(ParseMac, RefusesAWrongSeparatorAtEachOfItsPlaces)
{
    EXPECT_FALSE(ParseMac("02-a5-5e-00-00-01"));
    for (const size_t place : {2U, 5U, 8U, 11U, 14U}) {
        std::string text = "02:a5:5e:00:00:01";
        text[place] = '-';
        EXPECT_FALSE(ParseMac(text)) << text;
    }
}

TEST(ProductTypeFromText, ATextWithoutDigitsIsZero)
{
    for (const char* text : {"", " ", "zz", "0x", "-", "x1"})
        EXPECT_EQ(ProductTypeFromText(text), 0) << text;
}

TEST(ProductTypeFromText, TakesOverflowsSignsAndTrailingCharactersLikeAStream)
{
    EXPECT_EQ(ProductTypeFromText("10000"), 0xFFFF);
    EXPECT_EQ(ProductTypeFromText("fffffffffffffffffffff"), 0xFFFF);
    EXPECT_EQ(ProductTypeFromText("-1"), 0xFFFF);
    EXPECT_EQ(ProductTypeFromText("-30"), 0xFFD0);
    EXPECT_EQ(ProductTypeFromText("+30"), 0x30);
    EXPECT_EQ(ProductTypeFromText("  30 and more"), 0x30);
    EXPECT_EQ(ProductTypeFromText("1g"), 1);
}

TEST(IdToText, IsHexadecimalWithoutPrefixAndLeadingZeros)
{
    EXPECT_EQ(IdToText(0), "0");
    EXPECT_EQ(IdToText(0x02A55E0000000000), "2a55e0000000000");
    EXPECT_EQ(IdToText(0x00000000FFFFFFFF), "ffffffff");
    EXPECT_EQ(IdToText(0xFFFFFFFFFFFFFFFF), "ffffffffffffffff");
}

TEST(CalibrationToDecibel, DividesInSinglePrecision)
{
    EXPECT_EQ(CalibrationToDecibel(0), 0.0);
    EXPECT_EQ(CalibrationToDecibel(-25), -2.5);
    EXPECT_EQ(CalibrationToDecibel(10), 1.0);
    EXPECT_EQ(CalibrationToDecibel(1), static_cast<double>(0.1F));
    EXPECT_EQ(CalibrationToDecibel(1234567), static_cast<double>(123456.7F));
}
