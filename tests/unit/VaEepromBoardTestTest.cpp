#include "VaEeprom.h"

#include "FlushedOutput.h"
#include "FormattedRecords.h"
#include "MessageOf.h"
#include "TestRecord.h"

#include <algorithm>
#include <ctime>
#include <gtest/gtest.h>
#include <iostream>
#include <stdexcept>

namespace {

std::string OutputOf(const TestRecord& record, int32_t submode)
{
    testing::internal::CaptureStdout();
    record.RunI2cSubmode(submode);
    return testing::internal::GetCapturedStdout();
}

struct Interrupted
{
};

// What the board test asked to sleep, in nanoseconds; the third call ends its run.
std::vector<long> pauses;
bool interruptsPauses = false;
bool recordsPauses = false;

void ExpectInterrupted(const TestRecord& record)
{
    pauses.clear();
    interruptsPauses = true;
    EXPECT_THROW(record.RunI2cSubmode(2), Interrupted);
    interruptsPauses = false;
}

} // namespace

// In place of the system's: each pause is interrupted when 400 microseconds of it are left.
extern "C" int nanosleep(const timespec* wanted, timespec* left)
{
    if (recordsPauses) {
        pauses.push_back(wanted->tv_nsec);
        return 0;
    }
    if (!interruptsPauses)
        return clock_nanosleep(CLOCK_MONOTONIC, 0, wanted, left) == 0 ? 0 : -1;
    pauses.push_back(wanted->tv_sec * 1000000000 + wanted->tv_nsec);
    if (pauses.size() == 3)
        throw Interrupted();
    if (wanted->tv_nsec <= 400000)
        return 0;
    *left = {0, 400000};
    return -1;
}

TEST(BoardTest, Submode0ListsTheSubmodes)
{
    const RecordOnDevice part(Version2Part());
    EXPECT_EQ(OutputOf(part.record, 0), "   1 - EEPROM_FORMAT_READ\n   2 - EEPROM_TEST\n");
}

TEST(BoardTest, UnknownSubmodesThrowAndPrintNothing)
{
    const RecordOnDevice part(Version2Part());
    testing::internal::CaptureStdout();
    for (const int32_t submode : {3, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(MessageOf<std::logic_error>([&] { part.record.RunI2cSubmode(submode); }),
                  "i2c unknown submode");
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(BoardTest, CountsInDecimalAfterADumpToo)
{
    const RecordOnDevice part(Version2Part());
    OutputOf(part.record, 1);

    testing::internal::CaptureStdout();
    ExpectInterrupted(part.record);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "loop:10000\nloop:9999\n");
    std::cout << std::dec;
}

TEST(BoardTest, MakesTenThousandPassesWithAPauseAfterEach)
{
    RecordOnDevice part(Version2Part());
    part.record.crcPos = 0; // nothing to compute: it takes its time
    std::fill_n(part.record.mirror.begin(), 4, uint8_t{0});
    pauses.clear();
    recordsPauses = true;
    const FlushedOutput output;
    part.record.RunI2cSubmode(2);
    recordsPauses = false;
    EXPECT_EQ(pauses, std::vector<long>(10000, 1000000));

    std::vector<std::string> expected;
    for (int pass = 10000; pass >= 1; --pass)
        expected.push_back("loop:" + std::to_string(pass) + "\n");
    EXPECT_EQ(output.pieces, expected);
}

TEST(BoardTest, GoesOnWithTheRestOfAPauseThatASignalInterrupts)
{
    const RecordOnDevice part(Version2Part());
    testing::internal::CaptureStdout();
    ExpectInterrupted(part.record);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(pauses, (std::vector<long>{1000000, 400000, 1000000}));
}
