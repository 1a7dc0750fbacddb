#include "MenuEntryTable.h"

#include "FormattedRecords.h"
#include "TestRecord.h"

#include <gtest/gtest.h>
#include <iostream>
#include <stdexcept>

namespace {

class MenuEntries : public testing::Test
{
protected:
    MenuEntries()
    {
        if (menuEntries.empty())
            initMenu();
        eeprom = &part.record;
    }

    Menuentry& Entry(const std::string& name) const
    {
        for (Menuentry* entry : menuEntries) {
            if (entry->name == name)
                return *entry;
        }
        throw std::logic_error("no entry " + name);
    }

    RecordOnDevice part{Version2Part()};
};

} // namespace

TEST_F(MenuEntries, ShowNumbersInDecimalAfterADumpToo)
{
    testing::internal::CaptureStdout();
    eeprom->DumpRecord();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(Entry("Crc32").display(), "1592678115");
    std::cout << std::dec;
}

TEST_F(MenuEntries, FormatAndEraseWhateverTheText)
{
    Entry("Erase").SetValue("ignored");
    EXPECT_EQ(part.device.Contents(), Bytes(2048, 0xFF));
    Entry("Format_v2").SetValue("");
    EXPECT_EQ(part.device.Contents(), Version2Part());
}

TEST(Menuentry, IsSelectableAndNoCommandUnlessSaidOtherwise)
{
    const Menuentry entry("name", "--option", nullptr, nullptr);
    EXPECT_EQ(entry.name, "name");
    EXPECT_EQ(entry.option, "--option");
    EXPECT_TRUE(entry.selectable);
    EXPECT_FALSE(entry.isCommand);
}

TEST(Menuentry, CallsItsActionWithTheValue)
{
    std::string got;
    Menuentry entry("name", "--option", nullptr, [&](const std::string& text) { got = text; });
    entry.SetValue("some text");
    EXPECT_EQ(got, "some text");
}

TEST(Menuentry, WithoutAnActionThrowsBadFunctionCall)
{
    Menuentry entry("name", "--option", nullptr, nullptr);
    EXPECT_THROW(entry.SetValue("x"), std::bad_function_call);
}
