#include "TerminateHandler.h"

#include "TemporaryDevice.h"

#include <cstdio>
#include <exception>
#include <gtest/gtest.h>
#include <stdexcept>

namespace {

template <typename Failure> [[noreturn]] void EndBy(const Failure& failure)
{
    installTerminateHandler("program");
    try {
        throw failure;
    } catch (...) {
        std::terminate();
    }
}

} // namespace

TEST(TerminateHandlerDeathTest, PrintsTheExceptionAsOneLineAndEndsWithStatus1)
{
    EXPECT_EXIT(EndBy(std::logic_error("the reason")), testing::ExitedWithCode(1),
                "^program: the reason\n$");
}

TEST(TerminateHandlerDeathTest, DropsWhatWasNotWrittenOutYet)
{
    const TemporaryDevice output({});
    const auto endWithUnfinishedResult = [&] {
        if (freopen(output.Path().c_str(), "w", stdout) != nullptr)
            fputs("an unfinished result", stdout);
        EndBy(std::logic_error("the reason"));
    };
    EXPECT_EXIT(endWithUnfinishedResult(), testing::ExitedWithCode(1), "the reason");
    EXPECT_EQ(output.Contents(), Bytes());
}

TEST(TerminateHandlerDeathTest, KnowsNoReasonOfWhatIsNoStandardException)
{
    EXPECT_EXIT(EndBy(1), testing::ExitedWithCode(1), "^program: unknown error\n$");
}

TEST(TerminateHandlerDeathTest, EndsWithStatus1WithoutAnyException)
{
    const auto terminate = [] {
        installTerminateHandler("program");
        std::terminate();
    };
    EXPECT_EXIT(terminate(), testing::ExitedWithCode(1), "^program: terminated\n$");
}
