#include "Report.h"

#include <gtest/gtest.h>

using namespace kestrelRecord;

namespace {

Report writtenReport()
{
    Report report;
    report.result = "written";
    report.version = 2;
    report.comparison.changes = {{findField("ser_num"), "\x80\"", "SN"},
                                 {findField("version"), "1", "2"}};
    return report;
}

} // namespace

TEST(Report, ShowsBothValuesOfEachFieldInLinesAlsoWhereTheyAreEmpty)
{
    Report report = writtenReport();
    report.comparison.changes.push_back({findField("pcb_ser_num"), "", ""});
    EXPECT_EQ(reportAsLines(report),
              "ser_num: \\u0080\" -> SN\nversion: 1 -> 2\npcb_ser_num:  -> \nwritten\n");
}

TEST(Report, CutsALongValueInItsLineButNotInJson)
{
    Report report = writtenReport();
    report.comparison.changes = {{findField("ser_num"), std::string(13, '\xff'), "SN"}};
    std::string shown;
    for (int i = 0; i < 10; ++i)
        shown += "\\u00ff";
    EXPECT_EQ(reportAsLines(report), "ser_num: " + shown + "... -> SN\nwritten\n");
    EXPECT_NE(reportAsJson(report).find(shown + R"(\u00ff\u00ff\u00ff")"), std::string::npos);
}

TEST(Report, IsOneLineOfJson)
{
    EXPECT_EQ(reportAsJson(writtenReport()),
              R"({"result": "written", "status": 0, "version": 2, "changed": ["ser_num", )"
              R"("version"], "before": {"ser_num": "\u0080\"", "version": 1}, )"
              R"("after": {"ser_num": "SN", "version": 2}, "errors": []})"
              "\n");
}

TEST(Report, HoldsEveryErrorInJson)
{
    Report report;
    report.result = "refused";
    report.status = Status::kRefused;
    report.errors = {{"a\xff", "m\\"}, {"\u00e4\n", "m"}, {std::nullopt, "n"}};
    EXPECT_EQ(reportAsJson(report),
              R"({"result": "refused", "status": 3, "version": null, "changed": [], "before": {}, )"
              R"("after": {}, "errors": [{"field": "a\u00ff", "message": "m\\"}, )"
              R"({"field": "\u00E4\n", "message": "m"}, )"
              R"({"field": null, "message": "n"}]})"
              "\n");
}

TEST(Report, NamesTheFieldOfAnErrorInItsLine)
{
    EXPECT_EQ(errorLine({"a\n", "is wrong"}), "kestrel-record: a\\u000a: is wrong\n");
    EXPECT_EQ(errorLine({std::nullopt, "is wrong"}), "kestrel-record: is wrong\n");
}
