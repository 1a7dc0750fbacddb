#include "VaEeprom.h"

#include "FormattedRecords.h"
#include "MessageOf.h"
#include "TestRecord.h"

#include <csignal>
#include <cstdio>
#include <gtest/gtest.h>
#include <iostream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string OutputOf(const TestRecord& record, int32_t submode)
{
    testing::internal::CaptureStdout();
    record.RunI2cSubmode(submode);
    return testing::internal::GetCapturedStdout();
}

} // namespace

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

TEST(BoardTest, CountsInDecimalBehindADumpToo)
{
    const RecordOnDevice part(Version2Part());
    const TemporaryDevice output({});
    OutputOf(part.record, 1);

    // The run would take ten seconds: it goes on in a child only until its first line is there.
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        if (freopen(output.Path().c_str(), "w", stdout) != nullptr)
            part.record.RunI2cSubmode(2);
        _exit(1);
    }
    for (int waited = 0; output.Contents().size() < 11 && waited < 10000; ++waited)
        usleep(1000);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(output.Contents(0, 11), BytesOf("loop:10000\n"));
    std::cout << std::dec;
}
