#include "Document.h"

#include <gtest/gtest.h>

using namespace kestrelRecord;

namespace {

using Keys = std::vector<std::string>;

// The fields of all errors, "" for an error that is none's.
Keys refusedFields(const std::optional<std::string>& text,
                   const std::vector<Setting>& settings = {},
                   VersionIs versionIs = VersionIs::kOptional)
{
    Keys fields;
    try {
        parseDocument(text, settings, versionIs);
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status, Status::kRefused);
        for (const Error& error : failure.errors)
            fields.push_back(error.field.value_or(""));
    }
    return fields;
}

std::string refusal(const std::string& text)
{
    try {
        parseDocument(text, {}, VersionIs::kOptional);
    } catch (const Failure& failure) {
        return failure.what();
    }
    return "";
}

} // namespace

TEST(Document, NamesItsFieldsInItsOwnOrder)
{
    const Document document = parseDocument(
        R"({"type": "0x01", "version": 2, "mac1": "02:A5:5E:12:34:01"})", {}, VersionIs::kOptional);
    EXPECT_EQ(document.version, 2U);
    ASSERT_EQ(document.values.size(), 2U);
    EXPECT_EQ(document.values[0].field, findField("type"));
    EXPECT_EQ(document.values[0].value, "0x1");
    EXPECT_EQ(document.values[1].value, "02:a5:5e:12:34:01");
}

TEST(Document, ThatIsNoJsonObjectIsRefusedWithItsPlace)
{
    EXPECT_EQ(refusal("{\n \"typ\xc3\xa4\": }").substr(0, 18), "line 2, column 10:");
    EXPECT_EQ(refusal(std::string("{\n\"versi\xc3\xb6n\": 1\0}", 17)),
              "line 2, column 13: a zero byte is not allowed");
    EXPECT_EQ(refusal(" []"), "line 1, column 1: the document must be a JSON object");
}

TEST(Document, IsRefusedWithEverythingThatIsWrong)
{
    EXPECT_EQ(refusedFields(R"({"nix": 1, "type": 30, "version": 1, "ari": "0x105c8000",
                                "pcb_ser_num": "0123456789012"})"),
              (Keys{"nix", "type", "ari", "pcb_ser_num"}));
    EXPECT_EQ(refusedFields(R"({"version": 3, "ari": "0x105c8000", "block8": "0011223344556677"})"),
              Keys{"version"});
    EXPECT_EQ(refusedFields(R"({"ser_num": "01234567890123", "mac1": ""})"),
              (Keys{"ser_num", "mac1"}));
}

TEST(Document, IsRefusedWithTheTypeThatAValueMustHave)
{
    EXPECT_EQ(refusal("{\"ser_num\": 4711}"),
              "must be a string: at most 13 printable ASCII characters");
    EXPECT_EQ(refusal("{\"ser_num\": \"0123456789 123\"}"),
              "must be at most 13 printable ASCII characters, not \"0123456789 123\"");
    EXPECT_EQ(refusal("{\"version\": \"2\"}"), "must be the number 1 or 2, not \"2\"");
    EXPECT_EQ(refusal("{\"version\": 3}"), "must be the number 1 or 2");
}

TEST(Document, WithoutVersionMustFitOneOfThem)
{
    const std::string longSerial = R"("pcb_ser_num": "0123456789012")";
    EXPECT_EQ(refusedFields("{" + longSerial + R"(, "ari": "0x105c8000"})"), Keys{});
    EXPECT_EQ(refusedFields(R"({"block8": "0011223344556677", "pcb_ser_num": "012345678901"})"),
              Keys{});
    EXPECT_EQ(refusedFields("{" + longSerial + R"(, "block8": "0011223344556677"})"),
              (Keys{"pcb_ser_num", "block8"}));
    EXPECT_EQ(refusedFields(R"({"block8": "bad", "ari": "0x105c8000"})"),
              (Keys{"block8", "ari", "block8"}));
    EXPECT_EQ(refusedFields(R"({"block8": "bad", "version": 2})"), (Keys{"block8", "block8"}));
}

TEST(Document, MayHaveToNameItsVersion)
{
    EXPECT_EQ(refusedFields("{}"), Keys{});
    EXPECT_EQ(refusedFields("{\"mac1\": 1}", {}, VersionIs::kRequired), (Keys{"mac1", "version"}));
    EXPECT_EQ(refusedFields("{}", {{"version", "1"}}, VersionIs::kRequired), Keys{});
    EXPECT_EQ(refusedFields("{\"version\": 1", {}, VersionIs::kRequired), Keys{""});
}

TEST(Document, LetsTheLastSettingOfAFieldCountAlone)
{
    const std::vector<Setting> settings = {{"type", "x"},
                                           {"version", "]"},
                                           {"type", "0x2"},
                                           {"version", " 2 "},
                                           {"ser_num", "\"q = 1\""}};
    const std::string text = R"({"ser_num": 1, "type": 7})";
    const Document document = parseDocument(text, settings, VersionIs::kOptional);
    EXPECT_EQ(document.version, 2U);
    ASSERT_EQ(document.values.size(), 2U);
    EXPECT_EQ(document.values[0].value, "\"q = 1\"");
    EXPECT_EQ(document.values[1].value, "0x2");
}

TEST(Document, ChecksSettingsLikeAnythingElse)
{
    EXPECT_EQ(refusedFields(std::nullopt, {{"nix", "1"},
                                           {"", "1"},
                                           {"version", "1 2"},
                                           {"ser_num", "\xff"},
                                           {"aio_calibration", "[0"}}),
              (Keys{"nix", "", "version", "ser_num", "aio_calibration"}));
    EXPECT_EQ(refusedFields("{", {{"nix", "1"}}), (Keys{"", "nix"}));
}
