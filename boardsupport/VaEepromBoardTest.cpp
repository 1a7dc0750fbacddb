// The board test modes: the dump once, or an endurance run of the checked reads.

#include "VaEeprom.h"

#include <cstdlib>
#include <ctime>
#include <iostream>
#include <stdexcept>

namespace vantorBoardSupport {

namespace {

constexpr int kPasses = 10000;
constexpr int kPauseMicroseconds = 1000;

void Pause(int microseconds)
{
    const div_t parts = div(microseconds, 1000000);
    timespec left = {parts.quot, parts.rem * 1000L};
    while (nanosleep(&left, &left) != 0) {
    }
}

} // namespace

void VaEeprom::RunI2cSubmode(int32_t submode) const
{
    switch (submode) {
    case 0:
        std::cout << "   1 - EEPROM_FORMAT_READ\n   2 - EEPROM_TEST\n" << std::flush;
        break;
    case 1:
        DumpRecord();
        break;
    case 2:
        EepromTest();
        break;
    default:
        throw std::logic_error("i2c unknown submode");
    }
}

void VaEeprom::EepromTest() const
{
    for (int pass = kPasses; pass > 0; --pass) {
        // Formatted apart, since a dump leaves standard output in hexadecimal.
        std::cout << "loop:" + std::to_string(pass) << std::endl;
        ReadEveryField();
        Pause(kPauseMicroseconds);
    }
}

void VaEeprom::ReadEveryField() const
{
    MacToText(0);
    ReadPattern();
    for (uint32_t index = 0; index < 4; ++index)
        MacToText(index);
    GetUsbLocalMac();
    GetUsbHostMac();
    ReadProductType();
    GetHardwareRev();
    GetPcbRev();
    GetPcbSerialNumber();
    ReadSerialNumber();
    GetEntityId();
    GetEntityModelId();
    GetAri();
    for (uint32_t index = 0; index < kAioCalibrationCount; ++index)
        GetAioCalibration(index);
    ReadStoredCrc();
}

} // namespace vantorBoardSupport
