#include "RecordLayout.h"

#include "Eeprom.h"

#include <gtest/gtest.h>

using namespace vantorBoardSupport;

TEST(RecordLayout, Version1HasItsFieldsAtTheirPlaces)
{
    const RecordLayout& layout = LayoutOf(1);
    EXPECT_EQ(layout.formatVersion, 1U);
    EXPECT_EQ(layout.size, 128U);
    EXPECT_EQ(layout.productionDatePos, 40);
    EXPECT_EQ(layout.serviceDatePos, 47);
    EXPECT_EQ(layout.productTypePos, 54);
    EXPECT_EQ(layout.hardwareRevPos, 56);
    EXPECT_EQ(layout.pcbRevPos, 59);
    EXPECT_EQ(layout.pcbSerialPos, 62);
    EXPECT_EQ(layout.serialPos, 74);
    EXPECT_EQ(layout.crcPos, 103U);
    EXPECT_EQ(layout.block8Pos, 120);
    EXPECT_EQ(layout.pcbSerialMaxLen, 12U);
    EXPECT_EQ(layout.entityIdPos, 87);
    EXPECT_EQ(layout.entityModelIdPos, 95);
    EXPECT_EQ(layout.macPos, (std::array<int32_t, 6>{8, 16, 24, 32, -1, -1}));
    EXPECT_EQ(layout.aioCalibrationPos, (std::array<int32_t, 8>{-1, -1, -1, -1, -1, -1, -1, -1}));
    EXPECT_EQ(layout.ariPos, -1);
}

TEST(RecordLayout, Version2HasItsFieldsAtTheirPlaces)
{
    const RecordLayout& layout = LayoutOf(2);
    EXPECT_EQ(layout.formatVersion, 2U);
    EXPECT_EQ(layout.size, 2048U);
    EXPECT_EQ(layout.productionDatePos, 56);
    EXPECT_EQ(layout.serviceDatePos, 63);
    EXPECT_EQ(layout.productTypePos, 70);
    EXPECT_EQ(layout.hardwareRevPos, 72);
    EXPECT_EQ(layout.pcbRevPos, 75);
    EXPECT_EQ(layout.pcbSerialPos, 78);
    EXPECT_EQ(layout.serialPos, 114);
    EXPECT_EQ(layout.crcPos, 179U);
    EXPECT_EQ(layout.block8Pos, -1);
    EXPECT_EQ(layout.pcbSerialMaxLen, 36U);
    EXPECT_EQ(layout.entityIdPos, 127);
    EXPECT_EQ(layout.entityModelIdPos, 135);
    EXPECT_EQ(layout.macPos, (std::array<int32_t, 6>{8, 16, 24, 32, 40, 48}));
    EXPECT_EQ(layout.aioCalibrationPos,
              (std::array<int32_t, 8>{143, 147, 151, 155, 159, 163, 167, 171}));
    EXPECT_EQ(layout.ariPos, 175);
}

TEST(RecordLayout, EveryOtherVersionHasTheLayoutOfVersion2)
{
    for (const uint32_t version : {0U, 3U, 0x1234U, 0xFFFFU, 0xFFFFFFFFU})
        EXPECT_EQ(&LayoutOf(version), &LayoutOf(2)) << version;
    EXPECT_NE(&LayoutOf(1), &LayoutOf(2));
}

TEST(RecordLayout, VersionAndPatternAreAtTheSamePlaceInEveryVersion)
{
    EXPECT_EQ(kVersionPos, 0);
    EXPECT_EQ(kPatternPos, 2U);
    EXPECT_EQ(kNoField, -1);
    EXPECT_EQ(kMirrorCapacity, 2048U);
}
