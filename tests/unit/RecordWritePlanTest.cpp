#include "WritePlan.h"

#include <gtest/gtest.h>

using namespace kestrelRecord;

namespace {

constexpr uint32_t kCrcEnd = 6;

std::pair<size_t, size_t> rangeFor(const PartBytes& after)
{
    const ByteRange range = rangeToWrite(PartBytes(10, 0), after, kCrcEnd);
    return {range.begin, range.end};
}

using Range = std::pair<size_t, size_t>;

} // namespace

TEST(RangeToWrite, GoesFromTheFirstDifferenceToTheEndOfTheCrc)
{
    EXPECT_EQ(rangeFor({0, 0, 1, 1, 0, 0, 0, 0, 0, 0}), Range(2, 6));
    EXPECT_EQ(rangeFor({1, 0, 0, 0, 0, 0, 0, 0, 0, 0}), Range(0, 6));
    EXPECT_EQ(rangeFor({0, 0, 0, 0, 0, 1, 0, 0, 0, 0}), Range(5, 6));
}

TEST(RangeToWrite, GoesToTheLastDifferenceAfterTheCrc)
{
    EXPECT_EQ(rangeFor({0, 1, 0, 0, 0, 0, 0, 1, 0, 0}), Range(1, 8));
    EXPECT_EQ(rangeFor({0, 0, 0, 0, 0, 0, 1, 0, 1, 0}), Range(6, 9));
    EXPECT_EQ(rangeFor({0, 0, 0, 0, 0, 0, 0, 0, 0, 1}), Range(9, 10));
}

TEST(RangeToWrite, IsEmptyIfNothingDiffers)
{
    EXPECT_EQ(rangeFor(PartBytes(10, 0)), Range(0, 0));
}
