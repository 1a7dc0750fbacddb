// Whole dumps are compared with the program's output; here is what needs a value that no front end
// can write, and the state that the dump leaves behind.

#include "VaEeprom.h"

#include "BigEndian.h"
#include "FormattedRecords.h"
#include "TestRecord.h"

#include <gtest/gtest.h>
#include <iostream>

using namespace vantorBoardSupport;

namespace {

std::string DumpOf(const VaEeprom& record)
{
    testing::internal::CaptureStdout();
    record.DumpRecord();
    std::cout << std::dec;
    return testing::internal::GetCapturedStdout();
}

std::string CalibrationLine(uint32_t raw)
{
    RecordOnDevice part(Version2Part());
    const auto bytes = StoreBigEndian(raw);
    part.record.WriteField(143, bytes.data(), sizeof bytes);
    const std::string dump = DumpOf(part.record);
    const size_t start = dump.find("AioCalibration 0 : ");
    return dump.substr(start, dump.find('\n', start) - start);
}

} // namespace

TEST(Dump, CalibrationsAreShownInDecibelWithTheirRawValue)
{
    EXPECT_EQ(CalibrationLine(0), "AioCalibration 0 : 0dB (0x0)");
    EXPECT_EQ(CalibrationLine(50), "AioCalibration 0 : 5dB (0x32)");
    EXPECT_EQ(CalibrationLine(10), "AioCalibration 0 : 1dB (0xa)");
    EXPECT_EQ(CalibrationLine(static_cast<uint32_t>(-15)),
              "AioCalibration 0 : -1.5dB (0xfffffff1)");
    EXPECT_EQ(CalibrationLine(static_cast<uint32_t>(-25)),
              "AioCalibration 0 : -2.5dB (0xffffffe7)");
    EXPECT_EQ(CalibrationLine(1234567), "AioCalibration 0 : 123457dB (0x12d687)");
    EXPECT_EQ(CalibrationLine(10000000), "AioCalibration 0 : 1e+06dB (0x989680)");
}

TEST(Dump, FieldsThatTheCommandLineCannotWriteAreShown)
{
    RecordOnDevice part(Version2Part());
    part.record.SetEntityId(0x0A0B0C0D0E0F1011);
    part.record.SetEntityModelId(0x1);
    part.record.SetAri(0x105C8ABC);
    part.record.SetUsbLocalMac("02:a5:5e:00:00:AA");
    part.record.SetUsbHostMac("00:00:00:00:00:00");
    const std::string dump = DumpOf(part.record);
    EXPECT_NE(dump.find("\nMAC USB local    : 02:a5:5e:00:00:aa\n"
                        "MAC USB host     : 02:a5:5e:00:00:02\n"),
              std::string::npos);
    EXPECT_NE(dump.find("\nEntityId         : a0b0c0d0e0f1011\n"
                        "EntityModelId    : 1\n"
                        "ARI (DECT ID)    : 105c8abc\n"),
              std::string::npos);
}

TEST(Dump, ANegativeAriIsShownAsItsBitPattern)
{
    RecordOnDevice part(Version2Part());
    part.record.WriteField(175, "\xFF\xFF\xFF\xFE", 4);
    EXPECT_NE(DumpOf(part.record).find("\nARI (DECT ID)    : fffffffe\n"), std::string::npos);
}

TEST(Dump, LeavesStandardOutputInHexadecimal)
{
    const RecordOnDevice part(Version2Part());
    testing::internal::CaptureStdout();
    part.record.DumpRecord();
    std::cout << 255;
    std::cout << std::dec;
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_EQ(output.substr(output.size() - 4), "\n\nff");
}

TEST(Dump, ShowsTheValidityAsANumberAlsoWhereTheCallerPrintsWords)
{
    const RecordOnDevice part(Version2Part());
    std::cout << std::boolalpha;
    const std::string dump = DumpOf(part.record);
    EXPECT_EQ(std::cout.flags() & std::ios_base::boolalpha, std::ios_base::boolalpha);
    std::cout << std::noboolalpha;
    EXPECT_NE(dump.find("\nvalid            : 1\n\n"), std::string::npos);
}
