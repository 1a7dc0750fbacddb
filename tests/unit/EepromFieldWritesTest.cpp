#include "Eeprom.h"

#include "MessageOf.h"
#include "TestEeprom.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <stdexcept>

using namespace vantorBoardSupport;

namespace {

constexpr uint32_t kSize = 128;
constexpr uint32_t kCrcPos = 100;

// Every field at a place of its own, with bytes that no field owns on both sides.
class FieldWrites : public testing::Test
{
protected:
    FieldWrites()
    {
        eeprom.hardwareRevPos = 1;
        eeprom.pcbRevPos = 5;
        eeprom.productionDatePos = 9;
        eeprom.serviceDatePos = 17;
        eeprom.productTypePos = 25;
        eeprom.block8Pos = 28;
        eeprom.pcbSerialPos = 37;
        eeprom.serialPos = 50;
    }

    // The field was written, nothing else before the CRC was, and CRC and mirror follow.
    void ExpectOnlyField(uint32_t position, const Bytes& field) const
    {
        const Bytes all = device.Contents();
        Bytes expected(kCrcPos, 0xEE);
        std::copy(field.begin(), field.end(), expected.begin() + position);
        EXPECT_EQ(Bytes(all.begin(), all.begin() + kCrcPos), expected);
        EXPECT_EQ(Bytes(all.begin() + kCrcPos + 4, all.end()), Bytes(24, 0xEE));
        EXPECT_EQ(eeprom.Mirror(kSize), all);
        EXPECT_TRUE(eeprom.IsCrcValid());
    }

    void ExpectUntouched() const
    {
        EXPECT_EQ(device.Contents(), Bytes(kSize, 0xEE));
    }

    TemporaryDevice device{Bytes(kSize, 0xEE)};
    TestEeprom eeprom{device.Path(), kSize, kCrcPos};
};

constexpr EepromDate kDate = {20, 26, 11, 15, 10, 42, 16};

} // namespace

TEST_F(FieldWrites, TheHardwareRevisionIsStoredAsItsThreeCharacters)
{
    EXPECT_EQ(eeprom.WriteHardwareRev("000"), 0);
    ExpectOnlyField(1, {0x30, 0x30, 0x30});
}

TEST_F(FieldWrites, ThePcbRevisionHasAPlaceOfItsOwnAndTakesAnyCharacters)
{
    EXPECT_EQ(eeprom.WritePcbRev("\x01 \xFF"), 0);
    ExpectOnlyField(5, {0x01, 0x20, 0xFF});
}

TEST_F(FieldWrites, RevisionsOfAnotherLengthThanThreeAreRefused)
{
    for (const char* text : {"", "0", "00", "0000", "0000000000000000"}) {
        EXPECT_EQ(eeprom.WriteHardwareRev(text), -1) << text;
        EXPECT_EQ(eeprom.WritePcbRev(text), -1) << text;
    }
    ExpectUntouched();
}

TEST_F(FieldWrites, ARevisionCanBeWrittenAnywhere)
{
    EXPECT_EQ(eeprom.WriteRev(60, {'A', 'B', 'C'}), 0);
    ExpectOnlyField(60, BytesOf("ABC"));
}

TEST_F(FieldWrites, TheServiceDateHasAPlaceOfItsOwn)
{
    EXPECT_EQ(eeprom.WriteServiceDate(kDate), 0);
    ExpectOnlyField(17, {20, 26, 11, 15, 10, 42, 16});
}

TEST_F(FieldWrites, TheSmallestAndLargestDatesAreStored)
{
    EXPECT_EQ(eeprom.WriteProductionDate({20, 13, 0, 31, 0, 0, 0}), 0);
    EXPECT_EQ(eeprom.WriteProductionDate({20, 13, 12, 0, 0, 0, 0}), 0);
    EXPECT_EQ(eeprom.WriteProductionDate({20, 13, 0, 0, 0, 0, 0}), 0);
    ExpectOnlyField(9, {20, 13, 0, 0, 0, 0, 0});
    EXPECT_EQ(eeprom.WriteProductionDate({20, 99, 12, 31, 23, 59, 59}), 0);
    ExpectOnlyField(9, {20, 99, 12, 31, 23, 59, 59});
    EXPECT_EQ(eeprom.WriteProductionDate({20, 13, 1, 1, 0, 0, 0}), 0);
    EXPECT_EQ(eeprom.WriteProductionDate({20, 15, 2, 31, 0, 0, 0}), 0);
}

TEST_F(FieldWrites, DatesOneBeyondEachLimitAreRefused)
{
    const EepromDate refused[] = {
        {19, 26, 11, 15, 10, 42, 16}, {21, 26, 11, 15, 10, 42, 16}, {20, 12, 6, 1, 12, 0, 0},
        {20, 100, 1, 1, 0, 0, 0},     {20, 26, 13, 1, 0, 0, 0},     {20, 26, 1, 32, 0, 0, 0},
        {20, 26, 1, 1, 24, 0, 0},     {20, 26, 1, 1, 0, 60, 0},     {20, 26, 1, 1, 0, 0, 60},
        {0, 0, 0, 0, 0, 0, 0},        {20, 255, 1, 1, 0, 0, 0},     {20, 26, 255, 1, 0, 0, 0},
        {20, 26, 1, 255, 0, 0, 0},    {20, 26, 1, 1, 255, 0, 0},    {20, 26, 1, 1, 0, 255, 0},
        {20, 26, 1, 1, 0, 0, 255},
    };
    for (const EepromDate& date : refused) {
        EXPECT_EQ(eeprom.WriteProductionDate(date), -1);
        EXPECT_EQ(eeprom.WriteServiceDate(date), -1);
    }
    ExpectUntouched();
}

TEST_F(FieldWrites, ADateCanBeWrittenAnywhereWithoutValidation)
{
    EXPECT_EQ(eeprom.WriteDate(60, {1, 2, 3, 4, 5, 6, 7}), 0);
    ExpectOnlyField(60, {1, 2, 3, 4, 5, 6, 7});
}

TEST_F(FieldWrites, TheProductTypeIsStoredHighByteFirst)
{
    EXPECT_EQ(eeprom.WriteProductType(0x1234), 0);
    ExpectOnlyField(25, {0x12, 0x34});
    EXPECT_EQ(eeprom.WriteProductType(30), 0);
    ExpectOnlyField(25, {0x00, 0x1E});
}

TEST_F(FieldWrites, TheBlockIsStoredAsItIs)
{
    EXPECT_EQ(eeprom.WriteBlock8({8, 7, 6, 5, 4, 3, 2, 1}), 0);
    ExpectOnlyField(28, {8, 7, 6, 5, 4, 3, 2, 1});
}

TEST_F(FieldWrites, ASerialNumberMayFillItsFieldAndAShorterOneLeavesZerosAfterIt)
{
    EXPECT_EQ(eeprom.WriteSerialNumber("12345678901234"), -1);
    ExpectUntouched();
    EXPECT_EQ(eeprom.WriteSerialNumber("1234567890ABC"), 0);
    ExpectOnlyField(50, BytesOf("1234567890ABC"));
    EXPECT_EQ(eeprom.WriteSerialNumber("xyz"), 0);
    ExpectOnlyField(50, BytesOf("xyz") + Bytes(10, 0));
}

TEST_F(FieldWrites, ThePcbSerialNumbersWidthIsTheLayouts)
{
    for (const uint32_t width : {12U, 36U}) {
        device.Overwrite(0, Bytes(kSize, 0xEE));
        eeprom.pcbSerialMaxLen = width;
        EXPECT_EQ(eeprom.WritePcbSerialNumber(std::string(width + 1, 'x')), -1);
        ExpectUntouched();
        EXPECT_EQ(eeprom.WritePcbSerialNumber(std::string(width, 'x')), 0);
        ExpectOnlyField(37, Bytes(width, 'x'));
        EXPECT_EQ(eeprom.WritePcbSerialNumber("y"), 0);
        ExpectOnlyField(37, BytesOf("y") + Bytes(width - 1, 0));
    }
}

TEST_F(FieldWrites, OfAbsentFieldsReturnMinusOneAndTouchNothing)
{
    eeprom.hardwareRevPos = eeprom.pcbRevPos = eeprom.productionDatePos = kNoField;
    eeprom.serviceDatePos = eeprom.productTypePos = eeprom.block8Pos = kNoField;
    eeprom.pcbSerialPos = eeprom.serialPos = kNoField;
    EXPECT_EQ(eeprom.WriteRev(kNoField, {'0', '0', '0'}), -1);
    EXPECT_EQ(eeprom.WriteHardwareRev("000"), -1);
    EXPECT_EQ(eeprom.WritePcbRev("000"), -1);
    EXPECT_EQ(eeprom.WriteDate(kNoField, kDate), -1);
    EXPECT_EQ(eeprom.WriteProductionDate(kDate), -1);
    EXPECT_EQ(eeprom.WriteServiceDate(kDate), -1);
    EXPECT_EQ(eeprom.WriteProductType(1), -1);
    EXPECT_EQ(eeprom.WriteBlock8({}), -1);
    EXPECT_EQ(eeprom.WritePcbSerialNumber("1"), -1);
    EXPECT_EQ(eeprom.WriteSerialNumber("1"), -1);
    ExpectUntouched();
}

TEST_F(FieldWrites, ThatDoNotFitTheDeviceThrowBeforeTouchingIt)
{
    eeprom.serialPos = 116; // one byte short, though the text alone would fit
    EXPECT_EQ(MessageOf<std::logic_error>([&] { eeprom.WriteSerialNumber("1"); }),
              "Write overflow");
    EXPECT_EQ(MessageOf<std::logic_error>([&] {
                  eeprom.WriteRev(126, {'a', 'b', 'c'});
              }),
              "Write overflow");
    EXPECT_EQ(MessageOf<std::logic_error>([&] { eeprom.WriteDate(122, kDate); }), "Write overflow");
    ExpectUntouched();
}

TEST(FieldWritesProtected, OfATextAfterItsClearedFieldThrowAndLeaveTheMirrorCleared)
{
    // Clearing is not noticed where everything is zero; the text is.
    TestEeprom eeprom("/dev/zero", 128, 100);
    eeprom.mirror.fill(0x33);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { eeprom.WriteSerialNumber("1"); }),
              "write verified error (write protected?)");
    EXPECT_EQ(eeprom.Mirror(129), Bytes(128, 0x00) + Bytes(1, 0x33));
}
