#include "MenuEntryTable.h"

#include "FormattedRecords.h"
#include "TestRecord.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iostream>
#include <set>
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

TEST_F(MenuEntries, HaveUniqueOptionsAndOnlyEndHasNone)
{
    std::set<std::string> options;
    for (const Menuentry* entry : menuEntries) {
        EXPECT_TRUE(options.insert(entry->option).second) << entry->option;
        EXPECT_EQ(entry->option.empty(), entry->name == "END");
    }
}

TEST_F(MenuEntries, ShowNumbersInDecimalAfterADumpToo)
{
    testing::internal::CaptureStdout();
    eeprom->DumpRecord();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(Entry("Crc32").display(), "1592678115");
    std::cout << std::dec;
}

TEST_F(MenuEntries, ShowTheVersionOnTheDeviceNotInTheMirror)
{
    part.device.Overwrite(0, {0x12, 0x34});
    EXPECT_EQ(Entry("FormatVersion").display(), "4660");
    EXPECT_EQ(Entry("valid").display(), "1");
}

TEST_F(MenuEntries, WriteTheirOwnField)
{
    const struct
    {
        const char* name;
        const char* text;
        uint32_t position;
        Bytes bytes;
    } writes[] = {
        {"MAC1", "02:a5:5e:00:00:1a", 8, {0x02, 0xa5, 0x5e, 0, 0, 0x1a, 0, 0}},
        {"MAC2", "02:a5:5e:00:00:2a", 16, {0x02, 0xa5, 0x5e, 0, 0, 0x2a, 0, 0}},
        {"MAC3", "02:a5:5e:00:00:3a", 24, {0x02, 0xa5, 0x5e, 0, 0, 0x3a, 0, 0}},
        {"MAC4", "02:a5:5e:00:00:4a", 32, {0x02, 0xa5, 0x5e, 0, 0, 0x4a, 0, 0}},
        {"DateOfProduction", "2026-11-15 10:42:09", 56, {20, 26, 11, 15, 10, 42, 9}},
        {"DateOfLastService", "2027-12-31 23:59:58", 63, {20, 27, 12, 31, 23, 59, 58}},
        {"ProductType", "0x1e", 70, {0x00, 0x1e}},
        {"Hardware Rev", "A1b", 72, BytesOf("A1b")},
        {"PCB Rev", "C2d", 75, BytesOf("C2d")},
        {"SerialNumber", "unit-1", 114, BytesOf("unit-1") + Bytes(7, 0)},
        {"PCB SerialNumber", "pcb-1", 78, BytesOf("pcb-1") + Bytes(31, 0)},
    };
    for (const auto& write : writes) {
        Bytes expected = part.device.Contents();
        Entry(write.name).SetValue(write.text);
        std::copy(write.bytes.begin(), write.bytes.end(), expected.begin() + write.position);
        const Bytes all = part.device.Contents();
        std::copy_n(all.begin() + 179, 4, expected.begin() + 179);
        EXPECT_EQ(all, expected) << write.name;
        EXPECT_EQ(Entry(write.name).display(), write.text);
        EXPECT_TRUE(eeprom->IsCrcValid());
    }
}

TEST_F(MenuEntries, TakeDatesWithAnySeparatorsButNotTooShort)
{
    Entry("DateOfProduction").SetValue("2026/11/15T10.42.09");
    EXPECT_EQ(part.device.Contents(56, 7), Bytes({20, 26, 11, 15, 10, 42, 9}));
    const Bytes before = part.device.Contents();
    EXPECT_THROW(Entry("DateOfProduction").SetValue("2026-11-15"), std::out_of_range);
    EXPECT_EQ(part.device.Contents(), before);
}

TEST_F(MenuEntries, TakeAProductTypeInHexadecimalAndZeroForAnythingElse)
{
    Entry("ProductType").SetValue("30");
    EXPECT_EQ(part.device.Contents(70, 2), Bytes({0x00, 0x30}));
    Entry("ProductType").SetValue("1e");
    EXPECT_EQ(Entry("ProductType").display(), "0x1e");
    for (const char* text : {"zz", ""}) {
        Entry("ProductType").SetValue("1234");
        Entry("ProductType").SetValue(text);
        EXPECT_EQ(Entry("ProductType").display(), "0x0") << text;
    }
}

TEST_F(MenuEntries, RefuseBadValuesSilently)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    Entry("MAC1").SetValue("not a MAC");
    Entry("DateOfProduction").SetValue("1999-01-01 00:00:00");
    Entry("Hardware Rev").SetValue("0000");
    Entry("PCB Rev").SetValue("");
    Entry("SerialNumber").SetValue("12345678901234");
    Entry("PCB SerialNumber").SetValue(std::string(37, '1'));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(part.device.Contents(), Version2Part());
}

TEST_F(MenuEntries, ThatAreReadOnlyDiscardAnyText)
{
    for (const char* name : {"FormatVersion", "Crc32", "valid", "END"}) {
        Entry(name).SetValue("1");
        Entry(name).SetValue("");
    }
    EXPECT_EQ(part.device.Contents(), Version2Part());
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
