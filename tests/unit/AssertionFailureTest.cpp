#include "AssertionFailure.h"

#include <csignal>
#include <gtest/gtest.h>

using vantorBoardSupport::FailAssertion;

TEST(AssertionFailureDeathTest, PrintsTheGivenPositionAndAborts)
{
    EXPECT_EXIT(FailAssertion("a <= b", "../Some.cpp", 66, "void f(int)"),
                testing::KilledBySignal(SIGABRT),
                "\\.\\./Some\\.cpp:66: void f\\(int\\): Assertion `a <= b' failed\\.");
}
