#include "FieldTable.h"

#include "Calibration.h"

#include <gtest/gtest.h>

using namespace kestrelRecord;

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
