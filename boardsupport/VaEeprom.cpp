#include "VaEeprom.h"

#include "AssertionFailure.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace vantorBoardSupport {

namespace {

constexpr const char* kDefaultMac = "02:a5:5e:00:00:00";
constexpr EepromDate kDefaultDate = {20, 14, 1, 1, 0, 0, 0};
constexpr uint16_t kDefaultProductType = 0x0030;
constexpr const char* kDefaultRevision = "000";
constexpr const char* kDefaultPcbSerial = "000000000000";
constexpr const char* kDefaultSerial = "0000000000000";
constexpr std::array<uint8_t, 8> kDefaultId = {0x02, 0xa5, 0x5e, 0x00, 0x00, 0x00, 0x00, 0x00};
constexpr std::array<uint8_t, 4> kDefaultAri = {0x10, 0x5c, 0x80, 0x00};

} // namespace

VaEeprom& VaEeprom::GetInstance()
{
    static VaEeprom instance;
    return instance;
}

VaEeprom::VaEeprom(const std::string& devicePath)
{
    // The same in every version, so that the version can be read before the layout is known.
    versionPos = 0;
    patternPos = 2;
    macPos[0] = 8;

    SetPath(devicePath);
    Open();
    SelectLayout(ReadFormatVersion());
    RefreshMirror();
}

void VaEeprom::Format(uint32_t version)
{
    if (version > 2)
        throw std::logic_error("EEPROM unsupported Format Version");
    if (version == 0)
        throw std::logic_error("Unknown EEPROM size");
    SelectLayout(version);

    std::array<uint8_t, kVersion2HeaderLength> header{};
    header[1] = static_cast<uint8_t>(version);
    constexpr std::array<char, 6> kPattern = {'V', 'a', 'n', 't', 'o', 'r'};
    std::copy(kPattern.begin(), kPattern.end(), header.begin() + patternPos);
    WriteField(0, header.data(), std::min(size, kVersion2HeaderLength));

    for (const uint32_t index : {0U, 1U, 2U, 3U})
        SetMacFromText(index, kDefaultMac);
    WriteProductionDate(kDefaultDate);
    WriteServiceDate(kDefaultDate);
    WriteProductType(kDefaultProductType);
    WriteHardwareRev(kDefaultRevision);
    WritePcbRev(kDefaultRevision);
    WritePcbSerialNumber(kDefaultPcbSerial);
    WriteSerialNumber(kDefaultSerial);
    WriteField(entityIdPos, kDefaultId.data(), kDefaultId.size());
    WriteField(entityModelIdPos, kDefaultId.data(), kDefaultId.size());

    // Absent from version 1, which these writes leave as it is.
    SetUsbLocalMac(kDefaultMac);
    SetUsbHostMac(kDefaultMac);
    WriteField(ariPos, kDefaultAri.data(), kDefaultAri.size());
}

void VaEeprom::PeriodicCheck(int32_t)
{
    FailAssertion("false", "../VaEeprom.cpp", 101,
                  "void vantorBoardSupport::VaEeprom::PeriodicCheck(int32_t)");
}

} // namespace vantorBoardSupport
