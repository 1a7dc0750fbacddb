#pragma once

#include "VaEeprom.h"

#include "TemporaryDevice.h"

// A record whose position table and mirror the test can see and bend.
class TestRecord : public vantorBoardSupport::VaEeprom
{
public:
    using VaEeprom::aioCalibrationPos;
    using VaEeprom::ariPos;
    using VaEeprom::block8Pos;
    using VaEeprom::crcPos;
    using VaEeprom::entityIdPos;
    using VaEeprom::entityModelIdPos;
    using VaEeprom::formatVersion;
    using VaEeprom::hardwareRevPos;
    using VaEeprom::macPos;
    using VaEeprom::mirror;
    using VaEeprom::patternPos;
    using VaEeprom::pcbRevPos;
    using VaEeprom::pcbSerialMaxLen;
    using VaEeprom::pcbSerialPos;
    using VaEeprom::productionDatePos;
    using VaEeprom::productTypePos;
    using VaEeprom::serialPos;
    using VaEeprom::serviceDatePos;
    using VaEeprom::size;
    using VaEeprom::sparePos;
    using VaEeprom::versionPos;

    using VaEeprom::VaEeprom;

    Bytes Mirror() const
    {
        return Bytes(mirror.begin(), mirror.begin() + size);
    }
};

// A record on a device of its own.
struct RecordOnDevice
{
    explicit RecordOnDevice(const Bytes& contents) : device(contents), record(device.Path()) {}

    TemporaryDevice device;
    TestRecord record;
};
