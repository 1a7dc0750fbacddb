#include "FieldText.h"

#include "MessageOf.h"

#include <array>
#include <gtest/gtest.h>
#include <stdexcept>

using namespace vantorBoardSupport;

namespace {

std::array<uint8_t, 7> PartsOf(const EepromDate& date)
{
    return {date.century, date.year, date.month, date.day, date.hour, date.minute, date.second};
}

using Parts = std::array<uint8_t, 7>;

} // namespace

TEST(FormatMac, IsLowerCaseWithTwoDigitsPerOctet)
{
    EXPECT_EQ(FormatMac({0x02, 0xA5, 0x5E, 0x00, 0x0F, 0xFF}), "02:a5:5e:00:0f:ff");
    EXPECT_EQ(FormatMac({}), "00:00:00:00:00:00");
}

TEST(ParseMac, TakesUpperAndLowerCase)
{
    EXPECT_EQ(ParseMac("02:A5:5E:00:00:0A"), (MacAddress{0x02, 0xa5, 0x5e, 0x00, 0x00, 0x0a}));
    EXPECT_EQ(ParseMac("fe:dC:Ba:98:76:54"), (MacAddress{0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54}));
}

TEST(ParseMac, RefusesEveryLengthButSeventeen)
{
    EXPECT_FALSE(ParseMac(""));
    EXPECT_FALSE(ParseMac("02:a5:5e:00:00:0"));
    EXPECT_FALSE(ParseMac("02:a5:5e:00:00:001"));
}

TEST(ParseMac, RefusesAWrongSeparatorAtEachOfItsPlaces)
{
    EXPECT_FALSE(ParseMac("02-a5-5e-00-00-01"));
    for (const size_t place : {2U, 5U, 8U, 11U, 14U}) {
        std::string text = "02:a5:5e:00:00:01";
        text[place] = '-';
        EXPECT_FALSE(ParseMac(text)) << text;
    }
}

TEST(ParseMac, ConvertsEachPairLikeTheSystemsNumberParser)
{
    EXPECT_EQ(ParseMac("02:a5:5e:00:00:zz"), (MacAddress{0x02, 0xa5, 0x5e, 0, 0, 0}));
    EXPECT_EQ(ParseMac(" f:-1:+7:1z:z1:0x"), (MacAddress{0x0f, 0xff, 0x07, 0x01, 0, 0}));
    EXPECT_EQ(ParseMac(":::::::::::::::::"), MacAddress());
}

TEST(FormatDate, ShowsEachPartWithTwoDigits)
{
    EXPECT_EQ(FormatDate({20, 26, 11, 15, 10, 42, 9}), "2026-11-15 10:42:09");
    EXPECT_EQ(FormatDate({}), "0000-00-00 00:00:00");
}

TEST(FormatDate, WidensForPartsAbove99)
{
    EXPECT_EQ(FormatDate({20, 123, 1, 2, 3, 4, 5}), "20123-01-02 03:04:05");
    EXPECT_EQ(FormatDate({255, 255, 255, 255, 255, 255, 255}), "255255-255-255 255:255:255");
}

TEST(ParseDate, TakesThePairsFromTheirPlaces)
{
    EXPECT_EQ(PartsOf(ParseDate("2026-11-15 10:42:16")), (Parts{20, 26, 11, 15, 10, 42, 16}));
}

TEST(ParseDate, LooksNeitherAtSeparatorsNorAtWhatFollows)
{
    const Parts expected = {20, 26, 11, 15, 10, 42, 9};
    EXPECT_EQ(PartsOf(ParseDate("2026/11/15T10.42.09")), expected);
    EXPECT_EQ(PartsOf(ParseDate("2026711815710742799")), (Parts{20, 26, 11, 15, 10, 42, 99}));
    EXPECT_EQ(PartsOf(ParseDate("2026-11-15 10:42:09 and more")), expected);
}

TEST(ParseDate, APairThatIsNotANumberIsZeroAndASignIsTaken)
{
    EXPECT_EQ(PartsOf(ParseDate("xxxx-yy-zz  1:-1:+2")), (Parts{0, 0, 0, 0, 1, 255, 2}));
}

TEST(ParseDate, APairCutExactlyAtTheEndIsZero)
{
    EXPECT_EQ(PartsOf(ParseDate("2026-11-15 10:42:")), (Parts{20, 26, 11, 15, 10, 42, 0}));
    EXPECT_EQ(PartsOf(ParseDate("2026-11-15 10:42:7")), (Parts{20, 26, 11, 15, 10, 42, 7}));
}

TEST(ParseDate, ATextThatEndsBeforeAPairThrowsOutOfRange)
{
    const std::string whole = "2026-11-15 10:42:16";
    for (size_t length = 0; length < 17; ++length)
        EXPECT_THROW(ParseDate(whole.substr(0, length)), std::out_of_range) << length;
    EXPECT_NO_THROW(ParseDate(whole.substr(0, 17)));
}

TEST(ProductTypeToText, IsHexadecimalWithPrefixAndWithoutLeadingZeros)
{
    EXPECT_EQ(ProductTypeToText(0), "0x0");
    EXPECT_EQ(ProductTypeToText(0x1e), "0x1e");
    EXPECT_EQ(ProductTypeToText(0xFFFF), "0xffff");
}

TEST(ProductTypeFromText, ReadsHexadecimalDigitsWithOrWithoutPrefix)
{
    EXPECT_EQ(ProductTypeFromText("30"), 0x30);
    EXPECT_EQ(ProductTypeFromText("1e"), 30);
    EXPECT_EQ(ProductTypeFromText("0x1e"), 30);
    EXPECT_EQ(ProductTypeFromText("0X1E"), 30);
    EXPECT_EQ(ProductTypeFromText("FFFF"), 0xFFFF);
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
