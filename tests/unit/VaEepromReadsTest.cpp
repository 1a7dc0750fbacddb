#include "VaEeprom.h"

#include "FormattedRecords.h"
#include "TestRecord.h"

#include <array>
#include <gtest/gtest.h>
#include <iostream>

using namespace vantorBoardSupport;

namespace {

constexpr int32_t kBeyond = 5000; // past the end of every part

template <typename Read> std::string ErrorsOf(Read read)
{
    testing::internal::CaptureStderr();
    read();
    return testing::internal::GetCapturedStderr();
}

// A valid record of version 2 with a value of its own in each field.
Bytes FilledRecord()
{
    RecordOnDevice part(Version2Part());
    part.record.WriteProductionDate({20, 26, 11, 15, 10, 42, 16});
    part.record.WriteServiceDate({20, 27, 1, 2, 3, 4, 5});
    part.record.WriteProductType(0x8081);
    part.record.WriteHardwareRev("H12");
    part.record.WritePcbRev("P34");
    part.record.WritePcbSerialNumber("PCB-SERIAL");
    part.record.WriteSerialNumber("SERIAL-123456");
    return part.device.Contents();
}

struct FilledPart : RecordOnDevice
{
    FilledPart() : RecordOnDevice(FilledRecord()) {}
};

class Reads : public testing::Test
{
protected:
    FilledPart part;
    TestRecord& record = part.record;

    void Damage()
    {
        record.mirror[100] ^= 0x01;
    }
};

} // namespace

TEST_F(Reads, BytesAreCopiedInOrder)
{
    Bytes bytes(8);
    EXPECT_EQ(record.ReadBytes(0, bytes.data(), 8), 0);
    EXPECT_EQ(bytes, Bytes({0x00, 0x02, 'V', 'a', 'n', 't', 'o', 'r'}));
}

TEST_F(Reads, ComeFromTheMirrorNotFromTheDevice)
{
    part.device.Overwrite(2, BytesOf("Xantor"));
    EXPECT_EQ(record.ReadPattern(), "Vantor");
}

TEST_F(Reads, OfAGoodRecordGiveTheStoredValuesWithoutAMessage)
{
    const std::string errors = ErrorsOf([&] {
        Revision revision{};
        EXPECT_EQ(record.ReadRev(72, revision), 0);
        EXPECT_EQ(revision, (Revision{'H', '1', '2'}));
        EXPECT_EQ(record.ReadPattern(), "Vantor");
        EXPECT_EQ(record.ReadSerialNumber(), "SERIAL-123456");
        EXPECT_EQ(record.ReadProductType(), 0x8081U);
        EXPECT_EQ(record.GetHardwareRev(), "H12");
        EXPECT_EQ(record.GetPcbRev(), "P34");
        EXPECT_EQ(record.GetPcbSerialNumber(), "PCB-SERIAL");

        EepromDate date;
        EXPECT_EQ(record.GetDateOfProduction(date), 0);
        EXPECT_EQ(FormatDate(date), "2026-11-15 10:42:16");
        EXPECT_EQ(record.GetDateOfLastService(date), 0);
        EXPECT_EQ(FormatDate(date), "2027-01-02 03:04:05");
        EXPECT_EQ(record.ReadDate(56, date), 0);
        EXPECT_EQ(FormatDate(date), "2026-11-15 10:42:16");
    });
    EXPECT_EQ(errors, "");
}

TEST(ReadsOfAFormattedRecord, KnowItsStoredCrc)
{
    EXPECT_EQ(RecordOnDevice(Version2Part()).record.ReadStoredCrc(), 0x5eee56e3U);
    EXPECT_EQ(RecordOnDevice(FormattedVersion1()).record.ReadStoredCrc(), 0x019b4851U);
}

TEST_F(Reads, OfADamagedRecordReportEachTimeAndGiveTheirFailureValues)
{
    Damage();
    const auto expectFailure = [&](auto read) { EXPECT_EQ(ErrorsOf(read), "CRC invalid\n"); };

    Bytes bytes(4, 0xAA);
    expectFailure([&] { EXPECT_EQ(record.ReadBytes(0, bytes.data(), 4), -1); });
    EXPECT_EQ(bytes, Bytes(4, 0xAA));
    Revision revision{};
    expectFailure([&] { EXPECT_EQ(record.ReadRev(72, revision), -1); });
    EepromDate date = {1, 2, 3, 4, 5, 6, 7};
    expectFailure([&] { EXPECT_EQ(record.ReadDate(56, date), -1); });
    EXPECT_EQ(FormatDate(date), "0102-03-04 05:06:07");
    expectFailure([&] { EXPECT_EQ(record.ReadPattern(), ""); });
    expectFailure([&] { EXPECT_EQ(record.ReadSerialNumber(), "0000000000000"); });
    expectFailure([&] { EXPECT_EQ(record.ReadProductType(), 0xFFFFU); });
    expectFailure([&] { EXPECT_EQ(record.ReadStoredCrc(), 0U); });
    expectFailure([&] { EXPECT_EQ(record.GetHardwareRev(), "000"); });
    expectFailure([&] { EXPECT_EQ(record.GetPcbRev(), "000"); });
    expectFailure([&] { EXPECT_EQ(record.GetPcbSerialNumber(), "0"); });
    expectFailure([&] { EXPECT_EQ(record.GetDateOfProduction(date), -1); });
    EXPECT_EQ(FormatDate(date), "0000-00-00 00:00:00");
    date.second = 9;
    expectFailure([&] { EXPECT_EQ(record.GetDateOfLastService(date), -1); });
    EXPECT_EQ(FormatDate(date), "0000-00-00 00:00:00");
}

TEST_F(Reads, ReportABadCrcBeforeAnOverflow)
{
    Damage();
    uint8_t byte = 0;
    EXPECT_EQ(ErrorsOf([&] { record.ReadBytes(kBeyond, &byte, 1); }), "CRC invalid\n");
}

TEST_F(Reads, CheckTheCrcAfreshEachTime)
{
    Damage();
    EXPECT_EQ(ErrorsOf([&] { record.ReadPattern(); }), "CRC invalid\n");
    Damage(); // flips the bit back
    EXPECT_EQ(ErrorsOf([&] { EXPECT_EQ(record.ReadPattern(), "Vantor"); }), "");
}

TEST_F(Reads, OfAbsentFieldsGiveTheFailureValueWithoutMessageAndWithoutCrcCheck)
{
    Damage();
    record.serialPos = record.productTypePos = record.hardwareRevPos = record.pcbRevPos = kNoField;
    record.pcbSerialPos = record.productionDatePos = record.serviceDatePos = kNoField;
    record.patternPos = static_cast<uint32_t>(kNoField);
    const std::string errors = ErrorsOf([&] {
        std::array<uint8_t, 8> block{};
        EXPECT_EQ(record.ReadField8(block), -1);
        Revision revision{};
        EXPECT_EQ(record.ReadRev(kNoField, revision), -1);
        EXPECT_EQ(record.ReadBytes(kNoField, block.data(), 8), -1);
        EXPECT_EQ(record.ReadPattern(), "");
        EXPECT_EQ(record.ReadSerialNumber(), "0000000000000");
        EXPECT_EQ(record.ReadProductType(), 0xFFFFU);
        EXPECT_EQ(record.GetHardwareRev(), "000");
        EXPECT_EQ(record.GetPcbRev(), "000");
        EXPECT_EQ(record.GetPcbSerialNumber(), "0");
        EepromDate date = {1, 2, 3, 4, 5, 6, 7};
        EXPECT_EQ(record.ReadDate(kNoField, date), -1);
        EXPECT_EQ(record.GetDateOfProduction(date), -1);
        EXPECT_EQ(FormatDate(date), "0000-00-00 00:00:00");
        date.day = 1;
        EXPECT_EQ(record.GetDateOfLastService(date), -1);
        EXPECT_EQ(FormatDate(date), "0000-00-00 00:00:00");
    });
    EXPECT_EQ(errors, "");
}

TEST(ReadsOfVersion1, FindTheBlockAfterTheCrc)
{
    RecordOnDevice part(FormattedVersion1());
    EXPECT_EQ(part.record.WriteBlock8({1, 2, 3, 4, 5, 6, 7, 8}), 0);
    EXPECT_EQ(part.device.Contents(120, 8), Bytes({1, 2, 3, 4, 5, 6, 7, 8}));
    std::array<uint8_t, 8> block{};
    EXPECT_EQ(part.record.ReadField8(block), 0);
    EXPECT_EQ(block, (std::array<uint8_t, 8>{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(ReadsOfVersion1, MayGoOneByteBeyondTheDevice)
{
    RecordOnDevice part(FormattedVersion1());
    uint8_t byte = 0xAA;
    EXPECT_EQ(ErrorsOf([&] { EXPECT_EQ(part.record.ReadBytes(128, &byte, 1), 0); }), "");
    EXPECT_EQ(byte, 0);
    EXPECT_EQ(ErrorsOf([&] { EXPECT_EQ(part.record.ReadBytes(129, &byte, 1), -1); }),
              "Read buffer Overflow EEPROM size:128 Pos:129\n");
}

TEST_F(Reads, MayGoOneByteBeyondTheLargestDeviceAndFindZeroThere)
{
    Bytes bytes(3, 0xAA);
    EXPECT_EQ(ErrorsOf([&] { EXPECT_EQ(record.ReadBytes(2047, bytes.data(), 2), 0); }), "");
    EXPECT_EQ(bytes, Bytes({0xFF, 0x00, 0xAA}));
}

TEST_F(Reads, BeyondTheDeviceNameTheStartOfTheFieldAndKeepTheBytesCopied)
{
    Bytes bytes(3, 0xAA);
    EXPECT_EQ(ErrorsOf([&] { EXPECT_EQ(record.ReadBytes(2047, bytes.data(), 3), -1); }),
              "Read buffer Overflow EEPROM size:2048 Pos:2047\n");
    EXPECT_EQ(bytes, Bytes({0xFF, 0x00, 0xAA}));
}

TEST(ReadsOfVersion1, OfAFieldFarBeyondReportSizeAndPositionInDecimal)
{
    RecordOnDevice part(FormattedVersion1());
    part.record.productTypePos = 2048;
    std::cout << std::hex; // as after a dump; the message must not follow
    EXPECT_EQ(ErrorsOf([&] { EXPECT_EQ(part.record.ReadProductType(), 0xFFFFU); }),
              "Read buffer Overflow EEPROM size:128 Pos:2048\n");
    std::cout << std::dec;
}

TEST_F(Reads, AtANegativePositionOverflowAndPrintItSigned)
{
    uint8_t byte = 0;
    EXPECT_EQ(ErrorsOf([&] { EXPECT_EQ(record.ReadBytes(-2, &byte, 1), -1); }),
              "Read buffer Overflow EEPROM size:2048 Pos:-2\n");
}
