#include "VaEeprom.h"

#include "FailingCalls.h"
#include "FormattedRecords.h"
#include "MessageOf.h"
#include "TestRecord.h"

#include <array>
#include <csignal>
#include <gtest/gtest.h>
#include <stdexcept>

using namespace vantorBoardSupport;

namespace {

Bytes Part(uint32_t bytes, uint8_t versionHigh, uint8_t versionLow)
{
    return Bytes{versionHigh, versionLow} + Bytes(bytes - 2, 0x11);
}

void ExpectLayout(const TestRecord& record, uint32_t version)
{
    const auto in = [version](auto inVersion1, auto inVersion2) {
        return version == 1 ? inVersion1 : inVersion2;
    };
    EXPECT_EQ(record.formatVersion, version);
    EXPECT_EQ(record.size, in(128U, 2048U));
    EXPECT_EQ(record.versionPos, 0);
    EXPECT_EQ(record.patternPos, 2U);
    EXPECT_EQ(record.productionDatePos, in(40, 56));
    EXPECT_EQ(record.serviceDatePos, in(47, 63));
    EXPECT_EQ(record.productTypePos, in(54, 70));
    EXPECT_EQ(record.hardwareRevPos, in(56, 72));
    EXPECT_EQ(record.pcbRevPos, in(59, 75));
    EXPECT_EQ(record.pcbSerialPos, in(62, 78));
    EXPECT_EQ(record.serialPos, in(74, 114));
    EXPECT_EQ(record.crcPos, in(103U, 179U));
    EXPECT_EQ(record.block8Pos, in(120, -1));
    EXPECT_EQ(record.pcbSerialMaxLen, in(12U, 36U));
    EXPECT_EQ(record.entityIdPos, in(87, 127));
    EXPECT_EQ(record.entityModelIdPos, in(95, 135));
    using Macs = std::array<int32_t, 6>;
    EXPECT_EQ(record.macPos, in(Macs{8, 16, 24, 32, -1, -1}, Macs{8, 16, 24, 32, 40, 48}));
    using Values = std::array<int32_t, 8>;
    EXPECT_EQ(record.aioCalibrationPos, in(Values{-1, -1, -1, -1, -1, -1, -1, -1},
                                           Values{143, 147, 151, 155, 159, 163, 167, 171}));
    EXPECT_EQ(record.ariPos, in(-1, 175));
    EXPECT_EQ(record.sparePos, -1);
}

} // namespace

TEST(BringUp, OfVersion1TakesItsLayoutAndLoads128Bytes)
{
    const RecordOnDevice part(Part(2048, 0x00, 0x01));
    ExpectLayout(part.record, 1);
    EXPECT_EQ(part.record.Mirror(), part.device.Contents(0, 128));
}

TEST(BringUp, OfEveryOtherVersionTakesVersion2AndLoads2048Bytes)
{
    for (const uint32_t word : {0x0002U, 0x0000U, 0xFFFFU, 0x1234U, 0x0100U, 0x0101U, 0x0003U}) {
        testing::internal::CaptureStderr();
        const RecordOnDevice part(
            Part(4096, static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word)));
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        ExpectLayout(part.record, 2);
        EXPECT_EQ(part.record.Mirror(), part.device.Contents(0, 2048));
    }
}

TEST(BringUp, OfADeviceShorterThanItsLayoutThrowsAndLeavesNoDescriptorOpen)
{
    const TemporaryDevice blank128(Bytes(128, 0xFF));
    const TemporaryDevice empty({});
    const size_t before = OpenDescriptors();
    for (const TemporaryDevice* device : {&blank128, &empty}) {
        EXPECT_EQ(MessageOf<std::logic_error>([&] { const VaEeprom record(device->Path()); }),
                  "Error reading from file descriptor. No bytes read:");
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(SelectLayout, FillsThePositionTableAndTouchesNoDevice)
{
    RecordOnDevice part(Version2Part());
    part.record.SelectLayout(1);
    ExpectLayout(part.record, 1);
    part.record.SelectLayout(0xFFFF);
    ExpectLayout(part.record, 2);
    EXPECT_EQ(part.device.Contents(), Version2Part());
}

TEST(SelectLayout, LeavesAloneWhatIsTheSameInEveryVersion)
{
    RecordOnDevice part(Version2Part());
    for (const uint32_t version : {1U, 2U}) {
        part.record.versionPos = 1001;
        part.record.patternPos = 1002;
        part.record.macPos[0] = 1003;
        part.record.sparePos = 1004;
        part.record.SelectLayout(version);
        EXPECT_EQ(part.record.versionPos, 1001);
        EXPECT_EQ(part.record.patternPos, 1002U);
        EXPECT_EQ(part.record.macPos[0], 1003);
        EXPECT_EQ(part.record.sparePos, 1004);
    }
}

TEST(RecordReopen, OfARecordKeepsTheLayoutAndDoesNotFormat)
{
    RecordOnDevice part(Version2Part());
    part.device.Overwrite(0, {0x00, 0x01});
    part.record.Reopen();
    ExpectLayout(part.record, 2);
    EXPECT_EQ(part.device.Contents(), Bytes({0x00, 0x01}) + part.device.Contents(2, 2046));
    EXPECT_EQ(part.record.Mirror(), part.device.Contents());
}

TEST(Format, OfTheOtherVersionSwitchesTheLayoutAndKeepsTheRestOfTheDevice)
{
    RecordOnDevice part(Bytes(2048, 0xAB));
    part.record.Format(1);
    ExpectLayout(part.record, 1);
    EXPECT_EQ(part.device.Contents(), FormattedVersion1() + Bytes(1920, 0xAB));

    part.record.Format(2);
    ExpectLayout(part.record, 2);
    EXPECT_EQ(part.device.Contents(), FormattedVersion2() + Bytes(1793, 0xAB));
    EXPECT_EQ(part.record.Mirror(), part.device.Contents());
}

TEST(Format, OfUnknownVersionsThrowsAndChangesNothing)
{
    RecordOnDevice part(Part(2048, 0x00, 0x01));
    EXPECT_EQ(MessageOf<std::logic_error>([&] { part.record.Format(0); }), "Unknown EEPROM size");
    for (const uint32_t version : {3U, 0xFFFFFFFFU}) {
        EXPECT_EQ(MessageOf<std::logic_error>([&] { part.record.Format(version); }),
                  "EEPROM unsupported Format Version");
    }
    ExpectLayout(part.record, 1);
    EXPECT_EQ(part.device.Contents(), Part(2048, 0x00, 0x01));
}

TEST(Format, OfAProtectedPartThrowsAndKeepsTheNewLayout)
{
    TestRecord record("/dev/zero");
    ExpectLayout(record, 2);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { record.Format(1); }),
              "write verified error (write protected?)");
    ExpectLayout(record, 1);
}

TEST(Format, ThatFailsInAnyWriteThrowsItsErrorAndKeepsTheNewLayout)
{
    for (const uint32_t version : {1U, 2U}) {
        // Each write of a field is one of the CRC, too.
        const long writes = 2 * (version == 1 ? 16 : 19);
        for (long passing = 0; passing <= writes; ++passing) {
            RecordOnDevice part(Bytes(2048, 0xAB));
            part.record.SelectLayout(3 - version);
            const FailingCalls calls(Call::kWrite, passing, 1, EIO);
            EXPECT_EQ(ErrnoOf([&] { part.record.Format(version); }), passing < writes ? EIO : -1)
                << passing;
            ExpectLayout(part.record, version);
        }
    }
}

TEST(Format, IsReachedThroughTheBareDevice)
{
    RecordOnDevice part(Bytes(2048, 0xFF));
    Eeprom& device = part.record;
    device.Format(2);
    EXPECT_EQ(part.device.Contents(), Version2Part());
}

TEST(RecordErase, OfARecordLeavesMirrorAndLayout)
{
    RecordOnDevice part(FormattedVersion1());
    part.record.Erase();
    EXPECT_EQ(part.device.Contents(), Bytes(128, 0xFF));
    ExpectLayout(part.record, 1);
    EXPECT_TRUE(part.record.IsCrcValid());
    EXPECT_EQ(part.record.ReadPattern(), "Vantor");

    part.record.Format(1);
    EXPECT_EQ(part.device.Contents(), FormattedVersion1());
}

TEST(PeriodicCheckDeathTest, AlwaysFailsItsAssertion)
{
    RecordOnDevice part(Version2Part());
    EXPECT_EXIT(part.record.PeriodicCheck(1), testing::KilledBySignal(SIGABRT),
                "\\.\\./VaEeprom\\.cpp:101: void vantorBoardSupport::VaEeprom::PeriodicCheck"
                "\\(int32_t\\): Assertion `false' failed\\.");
}
