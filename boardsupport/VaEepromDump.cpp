// The dump of the whole record.

#include "VaEeprom.h"

#include "FieldText.h"

#include <iostream>

namespace vantorBoardSupport {

// The numbers are printed in standard output's own base, which the dump turns to hexadecimal and
// never back: numbers that a caller prints afterwards come out in hexadecimal, too.
void VaEeprom::DumpRecord() const
{
    using std::cout;
    using std::endl;

    cout << "FormatVersion    : 0x" << std::hex << ReadFormatVersion() << endl;
    cout << "FormatPattern    : " << ReadPattern() << endl;
    cout << "MAC0             : " << MacToText(0) << endl;
    cout << "MAC1             : " << MacToText(1) << endl;
    cout << "MAC2             : " << MacToText(2) << endl;
    cout << "MAC3             : " << MacToText(3) << endl;
    cout << "MAC USB local    : " << GetUsbLocalMac() << endl;
    cout << "MAC USB host     : " << GetUsbHostMac() << endl;

    // The dates are read, so that a damaged record is reported for them, but not shown.
    EepromDate date;
    cout << "DateOfProduction : " << endl;
    GetDateOfProduction(date);
    cout << "DateOfLastService: " << endl;
    GetDateOfLastService(date);

    cout << "ProductType      : 0x" << std::hex << ReadProductType() << endl;
    cout << "Hardware Rev     : " << GetHardwareRev() << endl;
    cout << "PCB Rev          : " << GetPcbRev() << endl;
    cout << "PCB SerialNumber : " << GetPcbSerialNumber() << endl;
    cout << "SerialNumber     : " << ReadSerialNumber() << endl;
    cout << "EntityId         : " << GetEntityId() << endl;
    cout << "EntityModelId    : " << GetEntityModelId() << endl;
    cout << "ARI (DECT ID)    : " << GetAri() << endl;
    for (uint32_t i = 0; i < kAioCalibrationCount; ++i) {
        cout << "AioCalibration " << i << " : " << CalibrationToDecibel(GetAioCalibration(i))
             << "dB (0x" << GetAioCalibration(i) << ")" << endl;
    }
    cout << "Crc32            : 0x" << std::hex << ReadStoredCrc() << endl;
    cout << "valid            : " << (IsCrcValid() ? 1 : 0) << endl;
    cout << endl;
}

} // namespace vantorBoardSupport
