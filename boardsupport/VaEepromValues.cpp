// The fields of VaEeprom as the values and texts that users see: MACs, dates, ids, ARI,
// calibration and the user bytes.

#include "VaEeprom.h"

#include "FieldText.h"

namespace vantorBoardSupport {

namespace {

constexpr uint32_t kUsbLocalMac = 4;
constexpr uint32_t kUsbHostMac = 5;

// What GetAri answers when there is nothing to read; not a valid identity.
constexpr uint32_t kNoAri = 0xDEC11D;

constexpr int32_t kMaxCalibration = 50; // tenths of a decibel, either way

} // namespace

MacAddress VaEeprom::GetMacBytes(uint32_t index) const
{
    MacAddress mac{};
    if (index >= kMacCount || ReadBytes(macPos[index], mac.data(), mac.size()) == -1)
        return MacAddress();
    return mac;
}

std::string VaEeprom::MacToText(uint32_t index) const
{
    return FormatMac(GetMacBytes(index));
}

int32_t VaEeprom::SetMacFromText(uint32_t index, const std::string& text)
{
    const auto mac = ParseMac(text);
    if (index >= kMacCount || !mac)
        return -1;
    return WriteField(macPos[index], mac->data(), sizeof *mac);
}

std::string VaEeprom::GetUsbMac(uint32_t index, const char* fallback) const
{
    const std::string text = MacToText(index);
    return text == "00:00:00:00:00:00" ? fallback : text;
}

std::string VaEeprom::GetUsbLocalMac() const
{
    return GetUsbMac(kUsbLocalMac, "02:a5:5e:00:00:01");
}

std::string VaEeprom::GetUsbHostMac() const
{
    return GetUsbMac(kUsbHostMac, "02:a5:5e:00:00:02");
}

int32_t VaEeprom::SetUsbLocalMac(const std::string& text)
{
    return SetMacFromText(kUsbLocalMac, text);
}

int32_t VaEeprom::SetUsbHostMac(const std::string& text)
{
    return SetMacFromText(kUsbHostMac, text);
}

std::string VaEeprom::DateToText(DateField field) const
{
    EepromDate date;
    if (field == DateField::kProduction)
        GetDateOfProduction(date);
    else
        GetDateOfLastService(date);
    return FormatDate(date);
}

int32_t VaEeprom::DateFromText(DateField field, const std::string& text)
{
    const EepromDate date = ParseDate(text);
    return field == DateField::kProduction ? WriteProductionDate(date) : WriteServiceDate(date);
}

// The failure values of the two ids differ on purpose: 8 digits f against 16.
uint64_t VaEeprom::GetEntityId() const
{
    return ReadNumber<uint64_t>(entityIdPos).value_or(0x00000000FFFFFFFF);
}

uint64_t VaEeprom::GetEntityModelId() const
{
    return ReadNumber<uint64_t>(entityModelIdPos).value_or(0xFFFFFFFFFFFFFFFF);
}

int32_t VaEeprom::SetEntityId(uint64_t id)
{
    return WriteNumber(entityIdPos, id);
}

int32_t VaEeprom::SetEntityModelId(uint64_t id)
{
    return WriteNumber(entityModelIdPos, id);
}

std::string VaEeprom::EntityIdToText() const
{
    return IdToText(GetEntityId());
}

std::string VaEeprom::EntityModelIdToText() const
{
    return IdToText(GetEntityModelId());
}

int32_t VaEeprom::GetAri() const
{
    return static_cast<int32_t>(ReadNumber<uint32_t>(ariPos).value_or(kNoAri));
}

int32_t VaEeprom::SetAri(int32_t ari)
{
    // Bit 31 clear, bits 28 to 30 the rights class, bits 12 to 27 the manufacturer.
    const auto bits = static_cast<uint32_t>(ari);
    if (ari < 0 || (bits & 0x70000000) != 0x10000000 || (bits & 0x0FFFF000) != 0x005C8000)
        return -1;
    return WriteNumber(ariPos, bits);
}

int32_t VaEeprom::GetAioCalibration(uint32_t index) const
{
    if (index >= kAioCalibrationCount)
        return 0;
    return static_cast<int32_t>(ReadNumber<uint32_t>(aioCalibrationPos[index]).value_or(1));
}

int32_t VaEeprom::SetAioCalibration(uint32_t index, int32_t tenths)
{
    if (index >= kAioCalibrationCount || tenths < -kMaxCalibration || tenths > kMaxCalibration)
        return -1;
    return WriteNumber(aioCalibrationPos[index], static_cast<uint32_t>(tenths));
}

uint8_t VaEeprom::GetUserByte(uint32_t index) const
{
    if (index >= kUserByteCount)
        return 0;
    return ReadNumber<uint8_t>(kUserBytesPos + static_cast<int32_t>(index)).value_or(0);
}

void VaEeprom::SetUserByte(uint32_t index, uint8_t value)
{
    if (index < kUserByteCount)
        WriteNumber(kUserBytesPos + static_cast<int32_t>(index), value);
}

} // namespace vantorBoardSupport
