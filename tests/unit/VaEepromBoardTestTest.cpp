#include "VaEeprom.h"

#include "FormattedRecords.h"
#include "MessageOf.h"
#include "TestRecord.h"

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

TEST(BoardTest, GoesOnWithTheRestOfAPauseThatASignalInterrupts)
{
    const RecordOnDevice part(Version2Part());
    testing::internal::CaptureStdout();
    ExpectInterrupted(part.record);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(pauses, (std::vector<long>{1000000, 400000, 1000000}));
}
