#include "ShownText.h"

#include <gtest/gtest.h>

using namespace kestrelRecord;

TEST(ShownText, ShowsEveryByteThatIsNotPrintableAsciiAsACode)
{
    EXPECT_EQ(shown("\x1f ~\x7f\x80\xff\n"), "\\u001f ~\\u007f\\u0080\\u00ff\\u000a");
    EXPECT_EQ(shown(std::string(1, '\0')), "\\u0000");
    EXPECT_EQ(shown("\"\\"), "\"\\");
}

TEST(ShownText, QuotesForJson)
{
    EXPECT_EQ(quoted("a\"b\\c\xe9"), R"("a\"b\\c\u00e9")");
}

TEST(ShownText, CutsAfterSixtyCharactersAndNeverWithinACode)
{
    const std::string sixty(60, 'x');
    EXPECT_EQ(shownShort(sixty), sixty);
    EXPECT_EQ(shownShort(sixty + "x"), sixty + "...");
    EXPECT_EQ(shownShort(std::string(54, 'x') + "\n"), std::string(54, 'x') + "\\u000a");
    EXPECT_EQ(shownShort(std::string(55, 'x') + "\n"), std::string(55, 'x') + "...");
}
