// The position table of the product record in each format version.

#include "VaEeprom.h"

namespace vantorBoardSupport {

namespace {

struct Extent
{
    uint32_t size;
    uint32_t crcPos;
};

constexpr Extent kVersion1 = {128, 103};
constexpr Extent kVersion2 = {2048, 179};

// The device code relies on these without testing them.
static_assert(kVersion1.size <= kMirrorCapacity && kVersion1.crcPos + 4 <= kVersion1.size);
static_assert(kVersion2.size <= kMirrorCapacity && kVersion2.crcPos + 4 <= kVersion2.size);

} // namespace

void VaEeprom::SelectLayout(uint32_t version)
{
    const auto set = [version](auto& member, auto inVersion1, auto inVersion2) {
        member = version == 1 ? inVersion1 : inVersion2;
    };

    // clang-format off
    //                     version 1         version 2
    set(formatVersion,     1U,               2U);
    set(size,              kVersion1.size,   kVersion2.size);
    set(productionDatePos, 40,               56);
    set(serviceDatePos,    47,               63);
    set(productTypePos,    54,               70);
    set(hardwareRevPos,    56,               72);
    set(pcbRevPos,         59,               75);
    set(pcbSerialPos,      62,               78);
    set(pcbSerialMaxLen,   12U,              36U);
    set(serialPos,         74,               114);
    set(crcPos,            kVersion1.crcPos, kVersion2.crcPos);
    set(block8Pos,         120,              kNoField);
    set(entityIdPos,       87,               127);
    set(entityModelIdPos,  95,               135);
    set(macPos[1],         16,               16);
    set(macPos[2],         24,               24);
    set(macPos[3],         32,               32);
    set(macPos[4],         kNoField,         40);
    set(macPos[5],         kNoField,         48);
    for (size_t i = 0; i < kAioCalibrationCount; ++i)
        set(aioCalibrationPos[i], kNoField,  143 + 4 * static_cast<int32_t>(i));
    set(ariPos,            kNoField,         175);
    // clang-format on
}

} // namespace vantorBoardSupport
