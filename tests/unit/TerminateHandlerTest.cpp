#include "TerminateHandler.h"

#include "TemporaryDevice.h"

#include <cstdio>
#include <exception>
#include <gtest/gtest.h>
#include <stdexcept>

namespace {

template <typename Failure> [[noreturn]] void EndBy(const Failure& failure)
{
    installTerminateHandler("program", 4);
    try {
        throw failure;
    } catch (...) {
        std::terminate();
    }
}

} // namespace

TEST(TerminateHandlerDeathTest, PrintsTheExceptionAsOneLineAndEndsWithTheGivenStatus)
{
    EXPECT_EXIT(EndBy(std::logic_error("the reason")), testing::ExitedWithCode(4),
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
    EXPECT_EXIT(endWithUnfinishedResult(), testing::ExitedWithCode(4), "the reason");
    EXPECT_EQ(output.Contents(), Bytes());
}

TEST(TerminateHandlerDeathTest, PrintsUnknownErrorForWhatIsNotAStandardException)
{
    EXPECT_EXIT(EndBy(1), testing::ExitedWithCode(4), "^program: unknown error\n$");
}

TEST(TerminateHandlerDeathTest, EndsWithTheGivenStatusWithoutAnyException)
{
    const auto terminate = [] {
        installTerminateHandler("program", 4);
        std::terminate();
    };
    EXPECT_EXIT(terminate(), testing::ExitedWithCode(4), "^program: terminated\n$");
}
