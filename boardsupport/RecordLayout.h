#pragma once

#include <array>
#include <cstdint>

namespace vantorBoardSupport {

// Where the fields of the product record lie in one format version: byte positions from the
// start of the device, kNoField for a field that the version does not have. Record byte 0 is
// device byte 0.
//
//   field              length  encoding
//   FormatVersion           2  number
//   FormatPattern           6  "Vantor"
//   MAC 0 to 3              6  first octet first; 2 unused bytes behind each
//   MAC USB local, host     6  likewise (entries 4 and 5 of macPos)
//   dates                   7  EepromDate
//   ProductType             2  number
//   Hardware Rev, PCB Rev   3  text
//   PCB SerialNumber    12/36  text (pcbSerialMaxLen)
//   SerialNumber           13  text
//   EntityId, EntityModelId 8  number
//   AioCalibration 0 to 7   4  signed number, tenths of a decibel
//   ARI (DECT ID)           4  number
//   Crc32                   4  number; covers the crcPos bytes in front of it
//   8-byte block            8  raw bytes, behind the CRC
//
// Numbers are big-endian. Texts are ASCII, zero-padded, without terminator when they fill their
// field.
struct RecordLayout
{
    uint32_t formatVersion;
    uint32_t size; // of the device, bytes
    int32_t productionDatePos;
    int32_t serviceDatePos;
    int32_t productTypePos;
    int32_t hardwareRevPos;
    int32_t pcbRevPos;
    int32_t pcbSerialPos;
    int32_t serialPos;
    uint32_t crcPos;
    int32_t block8Pos;
    uint32_t pcbSerialMaxLen;
    int32_t entityIdPos;
    int32_t entityModelIdPos;
    std::array<int32_t, 6> macPos;
    std::array<int32_t, 8> aioCalibrationPos;
    int32_t ariPos;
};

// At the same place in every version, so that the version can be read before the layout is known.
constexpr int32_t kVersionPos = 0;
constexpr uint32_t kPatternPos = 2;

// The layout of version 1 for 1, and that of version 2 for every other number: a blank or unknown
// record can be read, dumped and formatted like one of version 2.
const RecordLayout& LayoutOf(uint32_t version);

} // namespace vantorBoardSupport
