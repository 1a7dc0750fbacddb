#include "RecordLayout.h"

#include "Eeprom.h"

namespace vantorBoardSupport {

namespace {

constexpr RecordLayout kVersion1 = {
    1,                                        // formatVersion
    128,                                      // size
    40,                                       // productionDatePos
    47,                                       // serviceDatePos
    54,                                       // productTypePos
    56,                                       // hardwareRevPos
    59,                                       // pcbRevPos
    62,                                       // pcbSerialPos
    74,                                       // serialPos
    103,                                      // crcPos
    120,                                      // block8Pos
    12,                                       // pcbSerialMaxLen
    87,                                       // entityIdPos
    95,                                       // entityModelIdPos
    {8, 16, 24, 32, kNoField, kNoField},      // macPos
    {kNoField, kNoField, kNoField, kNoField,  //
     kNoField, kNoField, kNoField, kNoField}, // aioCalibrationPos
    kNoField,                                 // ariPos
};

constexpr RecordLayout kVersion2 = {
    2,                                        // formatVersion
    2048,                                     // size
    56,                                       // productionDatePos
    63,                                       // serviceDatePos
    70,                                       // productTypePos
    72,                                       // hardwareRevPos
    75,                                       // pcbRevPos
    78,                                       // pcbSerialPos
    114,                                      // serialPos
    179,                                      // crcPos
    kNoField,                                 // block8Pos
    36,                                       // pcbSerialMaxLen
    127,                                      // entityIdPos
    135,                                      // entityModelIdPos
    {8, 16, 24, 32, 40, 48},                  // macPos
    {143, 147, 151, 155, 159, 163, 167, 171}, // aioCalibrationPos
    175,                                      // ariPos
};

// The device code relies on these without testing them.
static_assert(kVersion1.size <= kMirrorCapacity && kVersion1.crcPos + 4 <= kVersion1.size);
static_assert(kVersion2.size <= kMirrorCapacity && kVersion2.crcPos + 4 <= kVersion2.size);

} // namespace

const RecordLayout& LayoutOf(uint32_t version)
{
    return version == 1 ? kVersion1 : kVersion2;
}

} // namespace vantorBoardSupport
