#pragma once

#include "Eeprom.h"
#include "TemporaryDevice.h"

// A bare device whose layout the test chooses.
class TestEeprom : public vantorBoardSupport::Eeprom
{
public:
    using Eeprom::block8Pos;
    using Eeprom::crcPos;
    using Eeprom::fd;
    using Eeprom::formatVersion;
    using Eeprom::hardwareRevPos;
    using Eeprom::mirror;
    using Eeprom::path;
    using Eeprom::patternPos;
    using Eeprom::pcbRevPos;
    using Eeprom::pcbSerialMaxLen;
    using Eeprom::pcbSerialPos;
    using Eeprom::productionDatePos;
    using Eeprom::productTypePos;
    using Eeprom::serialPos;
    using Eeprom::serviceDatePos;
    using Eeprom::size;
    using Eeprom::versionPos;

    TestEeprom() = default;

    TestEeprom(const std::string& devicePath, uint32_t deviceSize, uint32_t crcPosition)
    {
        SetPath(devicePath);
        Open();
        size = deviceSize;
        crcPos = crcPosition;
    }

    Bytes Mirror(uint32_t count) const
    {
        return Bytes(mirror.begin(), mirror.begin() + count);
    }
};
