#include "VaEeprom.h"

#include "FormattedRecords.h"
#include "MessageOf.h"
#include "TestRecord.h"

#include <gtest/gtest.h>
#include <stdexcept>

using namespace vantorBoardSupport;

namespace {

class Values : public testing::Test
{
protected:
    RecordOnDevice part{Version2Part()};
    TestRecord& record = part.record;

    void Damage()
    {
        record.mirror[100] ^= 0x01;
        testing::internal::CaptureStderr();
    }

    std::string Errors() const
    {
        return testing::internal::GetCapturedStderr();
    }

    void ExpectUntouched() const
    {
        EXPECT_EQ(part.device.Contents(), Version2Part());
    }
};

class ValuesOfVersion1 : public testing::Test
{
protected:
    RecordOnDevice part{FormattedVersion1()};
    TestRecord& record = part.record;
};

constexpr int32_t Signed(uint32_t bits)
{
    return static_cast<int32_t>(bits);
}

} // namespace

TEST_F(Values, EveryMacHasASlotOfItsOwn)
{
    const uint32_t positions[] = {8, 16, 24, 32, 40, 48};
    for (uint32_t index = 0; index < 6; ++index) {
        const std::string text = "02:A5:5E:00:00:0" + std::to_string(index + 1);
        EXPECT_EQ(record.SetMacFromText(index, text), 0);
        EXPECT_EQ(part.device.Contents(positions[index], 8),
                  Bytes({0x02, 0xa5, 0x5e, 0, 0, static_cast<uint8_t>(index + 1), 0, 0}));
        EXPECT_EQ(record.MacToText(index), "02:a5:5e:00:00:0" + std::to_string(index + 1));
        EXPECT_EQ(record.GetMacBytes(index),
                  (MacAddress{0x02, 0xa5, 0x5e, 0, 0, static_cast<uint8_t>(index + 1)}));
    }
}

TEST_F(Values, AMacIndexAbove5ReadsAsZerosUncheckedAndIsNotWritten)
{
    Damage();
    for (const uint32_t index : {6U, 0xFFFFFFFFU}) {
        EXPECT_EQ(record.MacToText(index), "00:00:00:00:00:00");
        EXPECT_EQ(record.GetMacBytes(index), MacAddress());
        EXPECT_EQ(record.SetMacFromText(index, "02:a5:5e:00:00:01"), -1);
    }
    EXPECT_EQ(Errors(), "");
    ExpectUntouched();
}

TEST_F(Values, ATextThatIsNotAMacIsRefused)
{
    for (const char* text : {"", "02-a5-5e-00-00-01", "02:a5:5e:00:00:0", "02:a5:5e:00:00:011"}) {
        EXPECT_EQ(record.SetMacFromText(0, text), -1) << text;
        EXPECT_EQ(record.SetUsbLocalMac(text), -1) << text;
        EXPECT_EQ(record.SetUsbHostMac(text), -1) << text;
    }
    ExpectUntouched();
}

TEST_F(Values, ADamagedRecordShowsMacsOfZeros)
{
    Damage();
    EXPECT_EQ(record.MacToText(0), "00:00:00:00:00:00");
    EXPECT_EQ(record.GetMacBytes(1), MacAddress());
    EXPECT_EQ(Errors(), "CRC invalid\nCRC invalid\n");
}

TEST_F(Values, AMacThatReachesBeyondTheDeviceIsZeroAltogether)
{
    record.macPos[0] = 2045; // its first bytes are there
    testing::internal::CaptureStderr();
    EXPECT_EQ(record.GetMacBytes(0), MacAddress());
    EXPECT_EQ(Errors(), "Read buffer Overflow EEPROM size:2048 Pos:2045\n");
}

TEST_F(Values, TheUsbMacsAreTheFifthAndSixth)
{
    EXPECT_EQ(record.SetUsbLocalMac("02:a5:5e:00:00:4a"), 0);
    EXPECT_EQ(record.SetUsbHostMac("02:a5:5e:00:00:5a"), 0);
    EXPECT_EQ(record.GetUsbLocalMac(), "02:a5:5e:00:00:4a");
    EXPECT_EQ(record.GetUsbHostMac(), "02:a5:5e:00:00:5a");
    EXPECT_EQ(record.MacToText(4), "02:a5:5e:00:00:4a");
    EXPECT_EQ(record.MacToText(5), "02:a5:5e:00:00:5a");
}

TEST_F(Values, UsbMacsOfZerosAreShownAsTheirFallbacks)
{
    EXPECT_EQ(record.SetUsbLocalMac("00:00:00:00:00:00"), 0);
    EXPECT_EQ(record.SetUsbHostMac("00:00:00:00:00:00"), 0);
    EXPECT_EQ(record.GetUsbLocalMac(), "02:a5:5e:00:00:01");
    EXPECT_EQ(record.GetUsbHostMac(), "02:a5:5e:00:00:02");
    EXPECT_EQ(record.MacToText(4), "00:00:00:00:00:00");
}

TEST_F(Values, UsbMacsOfOnesAreShownAsTheyAre)
{
    EXPECT_EQ(record.SetUsbLocalMac("ff:ff:ff:ff:ff:ff"), 0);
    EXPECT_EQ(record.GetUsbLocalMac(), "ff:ff:ff:ff:ff:ff");
}

TEST_F(ValuesOfVersion1, TheUsbMacsAreAbsentAndShownAsTheirFallbacksWithoutAMessage)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(record.GetUsbLocalMac(), "02:a5:5e:00:00:01");
    EXPECT_EQ(record.GetUsbHostMac(), "02:a5:5e:00:00:02");
    EXPECT_EQ(record.MacToText(4), "00:00:00:00:00:00");
    EXPECT_EQ(record.SetUsbLocalMac("02:a5:5e:00:00:09"), -1);
    EXPECT_EQ(record.SetUsbHostMac("02:a5:5e:00:00:09"), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(part.device.Contents(), FormattedVersion1());
}

TEST_F(Values, ADateTextTooShortThrowsOutOfRangeAndWritesNothing)
{
    EXPECT_THROW(record.DateFromText(DateField::kProduction, "2026-11-15"), std::out_of_range);
    EXPECT_THROW(record.DateFromText(DateField::kLastService, ""), std::out_of_range);
    ExpectUntouched();
}

TEST_F(Values, TheIdsAreStoredBigEndianInTheirOwnFields)
{
    EXPECT_EQ(record.SetEntityId(0x0102030405060708), 0);
    EXPECT_EQ(record.SetEntityModelId(0xF1F2F3F4F5F6F7F8), 0);
    EXPECT_EQ(part.device.Contents(127, 16),
              Bytes({0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5,
                     0xF6, 0xF7, 0xF8}));
    EXPECT_EQ(record.GetEntityId(), 0x0102030405060708U);
    EXPECT_EQ(record.GetEntityModelId(), 0xF1F2F3F4F5F6F7F8U);
    EXPECT_EQ(record.EntityIdToText(), "102030405060708");
    EXPECT_EQ(record.EntityModelIdToText(), "f1f2f3f4f5f6f7f8");
}

TEST_F(Values, TheIdsOfADamagedRecordFailWithDifferentValues)
{
    Damage();
    EXPECT_EQ(record.GetEntityId(), 0x00000000FFFFFFFFU);
    EXPECT_EQ(record.GetEntityModelId(), 0xFFFFFFFFFFFFFFFFU);
    EXPECT_EQ(record.EntityIdToText(), "ffffffff");
    EXPECT_EQ(record.EntityModelIdToText(), "ffffffffffffffff");
    EXPECT_EQ(Errors(), "CRC invalid\nCRC invalid\nCRC invalid\nCRC invalid\n");
}

TEST_F(Values, TheAriTakesOnlyItsLow12BitsFreely)
{
    EXPECT_EQ(record.SetAri(0x105C8FFF), 0);
    EXPECT_EQ(part.device.Contents(175, 4), Bytes({0x10, 0x5C, 0x8F, 0xFF}));
    EXPECT_EQ(record.GetAri(), 0x105C8FFF);
    EXPECT_EQ(record.SetAri(0x105C8000), 0);
    EXPECT_EQ(record.GetAri(), 0x105C8000);
}

TEST_F(Values, AnAriWithAnyOtherBitChangedIsRefused)
{
    for (const uint32_t ari : {0x105C9000U, 0x005C8000U, 0x905C8000U, 0U, 0xFFFFFFFFU})
        EXPECT_EQ(record.SetAri(Signed(ari)), -1) << ari;
    for (unsigned int bit = 12; bit < 32; ++bit)
        EXPECT_EQ(record.SetAri(Signed(0x105C8000U ^ (1U << bit))), -1) << bit;
    ExpectUntouched();
}

TEST_F(ValuesOfVersion1, TheAriIsAbsent)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(record.GetAri(), 0xDEC11D);
    EXPECT_EQ(record.SetAri(0x105C8001), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(part.device.Contents(), FormattedVersion1());
}

TEST_F(Values, EveryCalibrationHasAPlaceOfItsOwn)
{
    for (uint32_t index = 0; index < 8; ++index) {
        const auto value = static_cast<int32_t>(index) - 50;
        EXPECT_EQ(record.SetAioCalibration(index, value), 0);
        EXPECT_EQ(record.GetAioCalibration(index), value);
        EXPECT_EQ(part.device.Contents(143 + 4 * index, 4),
                  Bytes({0xFF, 0xFF, 0xFF, static_cast<uint8_t>(value)}));
    }
}

TEST_F(Values, CalibrationsFromMinus50To50AreTakenAndOthersRefused)
{
    EXPECT_EQ(record.SetAioCalibration(0, 51), -1);
    EXPECT_EQ(record.SetAioCalibration(0, -51), -1);
    EXPECT_EQ(record.SetAioCalibration(0, INT32_MAX), -1);
    EXPECT_EQ(record.SetAioCalibration(0, INT32_MIN), -1);
    ExpectUntouched();
    EXPECT_EQ(record.SetAioCalibration(0, 50), 0);
    EXPECT_EQ(record.SetAioCalibration(1, -50), 0);
}

TEST_F(Values, ACalibrationIndexAbove7ReadsAs0AndIsNotWritten)
{
    Damage();
    EXPECT_EQ(record.GetAioCalibration(8), 0);
    EXPECT_EQ(record.SetAioCalibration(8, 0), -1);
    EXPECT_EQ(Errors(), "");
    ExpectUntouched();
}

TEST_F(ValuesOfVersion1, TheCalibrationsAreAbsent)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(record.GetAioCalibration(0), 1);
    EXPECT_EQ(record.SetAioCalibration(0, 5), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(Values, UserBytesAreTheLast256OfThePart)
{
    record.SetUserByte(0, 0x01);
    record.SetUserByte(255, 0xFE);
    EXPECT_EQ(part.device.Contents(1791, 3), Bytes({0xFF, 0x01, 0xFF}));
    EXPECT_EQ(part.device.Contents(2046, 2), Bytes({0xFF, 0xFE}));
    EXPECT_EQ(record.GetUserByte(0), 0x01);
    EXPECT_EQ(record.GetUserByte(255), 0xFE);
}

TEST_F(Values, UserBytesBeyondTheAreaReadAs0UncheckedAndAreNotWritten)
{
    record.SetUserByte(256, 0x01);
    ExpectUntouched();
    Damage();
    EXPECT_EQ(record.GetUserByte(256), 0);
    EXPECT_EQ(Errors(), "");
}

TEST_F(Values, AUserByteOfADamagedRecordReadsAs0)
{
    Damage();
    EXPECT_EQ(record.GetUserByte(0), 0);
    EXPECT_EQ(Errors(), "CRC invalid\n");
}

TEST_F(ValuesOfVersion1, TheUserBytesLieBeyondThePart)
{
    // Counted from the end of the part, the second would be in the record.
    for (const uint32_t index : {3U, 131U}) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(record.GetUserByte(index), 0);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "Read buffer Overflow EEPROM size:128 Pos:" + std::to_string(1792 + index) +
                      "\n");
        EXPECT_EQ(MessageOf<std::logic_error>([&] { record.SetUserByte(index, 1); }),
                  "Write overflow");
    }
}
