#include "FieldTable.h"

#include "Calibration.h"

#include <gtest/gtest.h>
#include <memory>

using namespace kestrelRecord;

namespace {

// The text that the field named key shows for a value of a document, given as JSON.
ValueText valueOf(const std::string& key, const std::string& json)
{
    const std::unique_ptr<json_t, decltype(&json_decref)> value(
        json_loads(json.c_str(), JSON_DECODE_ANY | JSON_DECODE_INT_AS_REAL | JSON_ALLOW_NUL,
                   nullptr),
        json_decref);
    EXPECT_TRUE(value) << json;
    return findField(key)->check(value.get());
}

struct Value
{
    const char* key;
    const char* json;
    const char* shown; // null if it is refused
};

void PrintTo(const Value& value, std::ostream* out)
{
    *out << value.key << " " << value.json;
}

class FieldRule : public testing::TestWithParam<Value>
{
};

} // namespace

TEST_P(FieldRule, TakesOrRefuses)
{
    const auto& [key, json, shown] = GetParam();
    EXPECT_EQ(valueOf(key, json), shown != nullptr ? ValueText(shown) : std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Values, FieldRule,
    testing::Values(
        Value{"version", "1", "1"}, Value{"version", "2.0", "2"}, Value{"version", "0", nullptr},
        Value{"version", "3", nullptr}, Value{"version", "\"1\"", nullptr},
        Value{"version", "true", nullptr}, Value{"version", "1.5", nullptr},
        Value{"mac1", "\"02:A5:5e:12:34:fF\"", "02:a5:5e:12:34:ff"},
        Value{"mac1", "\"00:00:00:00:00:00\"", nullptr},
        Value{"mac1", "\"00:00:00:00:00:01\"", "00:00:00:00:00:01"},
        Value{"mac1", "\"01:a5:5e:12:34:01\"", nullptr},
        Value{"mac1", "\"02-a5-5e-12-34-01\"", nullptr},
        Value{"mac1", "\"02:a5:5e:12:34:0g\"", nullptr},
        Value{"mac1", "\"02:a5:5e:12:34:1\"", nullptr}, Value{"mac1", "null", nullptr},
        Value{"servicedate", "\"2026-11-15 10:42:16\"", "2026-11-15 10:42:16"},
        Value{"servicedate", "\"2013-01-01 00:00:00\"", "2013-01-01 00:00:00"},
        Value{"servicedate", "\"2099-12-31 23:59:59\"", "2099-12-31 23:59:59"},
        Value{"servicedate", "\"2012-12-31 23:59:59\"", nullptr},
        Value{"servicedate", "\"2100-01-01 00:00:00\"", nullptr},
        Value{"servicedate", "\"2024-02-29 00:00:00\"", "2024-02-29 00:00:00"},
        Value{"servicedate", "\"2023-02-29 00:00:00\"", nullptr},
        Value{"servicedate", "\"2024-02-30 00:00:00\"", nullptr},
        Value{"servicedate", "\"2026-04-31 00:00:00\"", nullptr},
        Value{"servicedate", "\"2026-06-31 00:00:00\"", nullptr},
        Value{"servicedate", "\"2026-09-31 00:00:00\"", nullptr},
        Value{"servicedate", "\"2026-11-31 00:00:00\"", nullptr},
        Value{"servicedate", "\"2026-12-32 00:00:00\"", nullptr},
        Value{"servicedate", "\"2026-00-01 00:00:00\"", nullptr},
        Value{"servicedate", "\"2026-13-01 00:00:00\"", nullptr},
        Value{"servicedate", "\"2026-01-00 00:00:00\"", nullptr},
        Value{"servicedate", "\"2026-01-01 24:00:00\"", nullptr},
        Value{"servicedate", "\"2026-01-01 00:60:00\"", nullptr},
        Value{"servicedate", "\"2026-01-01 00:00:60\"", nullptr},
        Value{"servicedate", "\"2026-01-01T00:00:00\"", nullptr},
        Value{"servicedate", "\"2026-01-01 00:00:00Z\"", nullptr},
        Value{"type", "\"0x001E\"", "0x1e"}, Value{"type", "\"0x0\"", "0x0"},
        Value{"type", "\"0x\"", nullptr}, Value{"type", "\"0x10000\"", nullptr},
        Value{"type", "\"0X1e\"", nullptr}, Value{"type", "\"1e\"", nullptr},
        Value{"type", "30", nullptr}, Value{"pcb_rev", "\" ~1\"", " ~1"},
        Value{"pcb_rev", "\"01\"", nullptr}, Value{"pcb_rev", "\"0001\"", nullptr},
        Value{"pcb_rev", "\"00\\u0000\"", nullptr}, Value{"ser_num", "\"\"", ""},
        Value{"ser_num", "\"SN 1\"", "SN 1"}, Value{"ser_num", "\"a\\r\"", nullptr},
        Value{"ser_num", "\"\\u007f\"", nullptr}, Value{"ser_num", "\"\\u00e9\"", nullptr},
        Value{"ser_num", "[]", nullptr},
        Value{"entity_id", "\"0x02A55E0000000000\"", "0x02a55e0000000000"},
        Value{"entity_id", "\"0x02a55e000000000\"", nullptr},
        Value{"entity_id", "\"02a55e0000000000\"", nullptr},
        Value{"ari", "\"0x105C8000\"", "0x105c8000"}, Value{"ari", "\"0x105c8fff\"", "0x105c8fff"},
        Value{"ari", "\"0x105c9000\"", nullptr}, Value{"ari", "\"0x105c7fff\"", nullptr},
        Value{"ari", "\"0x105c80000\"", nullptr},
        Value{"aio_calibration", "[1e0, -0, 0.3, -5.0, 5, -0.1, 2.5, -4.9]",
              "[1, 0, 0.3, -5, 5, -0.1, 2.5, -4.9]"},
        Value{"aio_calibration", "[0, 0, 0.30000000000000004, 0, 0, 0, 0, 0]", nullptr},
        Value{"aio_calibration", "[0, 0, 0, 0, 0, 0, 0, 5.1]", nullptr},
        Value{"aio_calibration", "[-5.1, 0, 0, 0, 0, 0, 0, 0]", nullptr},
        Value{"aio_calibration", "[0, 0, 0, 0, 0, 0, 0, 1e300]", nullptr},
        Value{"aio_calibration", "[0, 0, 0, 0, 0, 0, 0]", nullptr},
        Value{"aio_calibration", "[0, 0, 0, 0, 0, 0, 0, 0, 0]", nullptr},
        Value{"aio_calibration", "[0, 0, 0, 0, 0, 0, 0, \"0\"]", nullptr},
        Value{"aio_calibration", "0", nullptr},
        Value{"block8", "\"00112233aaBBccDD\"", "00112233aabbccdd"},
        Value{"block8", "\"0x112233aabbccdd\"", nullptr},
        Value{"block8", "\"00112233aabbccd\"", nullptr}));

TEST(FieldTable, ShowsCalibrationValuesThatNoDocumentCanHold)
{
    const Calibration stored = {-1, 10, 99, 2147483647, -2147483647 - 1, 0, -10, 5};
    const std::string text = "[-0.1, 1, 9.9, 214748364.7, -214748364.8, 0, -1, 0.5]";
    EXPECT_EQ(calibrationToText(stored), text);
    EXPECT_EQ(calibrationFromText(text), stored);
}

TEST(FieldTable, HasTheFieldsAndTheRoomOfTheRecord)
{
    for (const uint32_t version : {1U, 2U}) {
        MemoryRecord record(PartBytes(kLargePartBytes, 0));
        MemoryRecord other(PartBytes(kLargePartBytes, 0));
        record.Format(version);
        other.Format(3 - version);
        for (const Field& field : fieldTable()) {
            const std::string value = field.read(isIn(field, version) ? record : other);
            EXPECT_EQ(field.set(record, value), isIn(field, version) ? 0 : -1) << field.key;
        }
        for (const char* key : {"pcb_ser_num", "ser_num"}) {
            const Field* field = findField(key);
            const size_t room = field->room[version - 1];
            EXPECT_EQ(field->set(record, std::string(room, 'x')), 0) << key;
            EXPECT_EQ(field->set(record, std::string(room + 1, 'x')), -1) << key;
        }
    }
}

// Each field has its own bytes, and the table sets the ones that it shows.
TEST(FieldTable, SetsEveryFieldAlone)
{
    for (const uint32_t version : {1U, 2U}) {
        MemoryRecord fresh(PartBytes(kLargePartBytes, 0));
        fresh.Format(version);
        for (const Field& changed : fieldTable()) {
            if (!isIn(changed, version) || changed.key == std::string("version"))
                continue;
            MemoryRecord record(fresh.bytes());
            std::string value = changed.read(record);
            value[value.size() - 2] = value[value.size() - 2] == '1' ? '2' : '1';
            EXPECT_EQ(changed.set(record, value), 0) << changed.key;
            for (const Field& field : fieldTable()) {
                if (isIn(field, version)) {
                    EXPECT_EQ(field.read(record), &field == &changed ? value : field.read(fresh));
                }
            }
        }
    }
}
