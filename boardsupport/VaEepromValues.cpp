// The fields of VaEeprom as the values and texts that users see: MACs, dates, ids, ARI,
// calibration and the user bytes.

#include "VaEeprom.h"

#include "BigEndian.h"
#include "FieldText.h"

namespace vantorBoardSupport {

namespace {

constexpr uint32_t kUsbLocalMac = 4;
constexpr uint32_t kUsbHostMac = 5;

// What GetAri answers when there is nothing to read; not a valid identity.
constexpr int32_t kNoAri = 0xDEC11D;

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
    return vantorBoardSupport::MacToText(GetMacBytes(index));
}

int32_t VaEeprom::SetMacFromText(uint32_t index, const std::string& text)
{
    const auto mac = MacFromText(text);
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
    return vantorBoardSupport::DateToText(date);
}

int32_t VaEeprom::DateFromText(DateField field, const std::string& text)
{
    const EepromDate date = vantorBoardSupport::DateFromText(text);
    return field == DateField::kProduction ? WriteProductionDate(date) : WriteServiceDate(date);
}

// The failure values of the two ids differ on purpose: 8 digits f against 16.
uint64_t VaEeprom::GetEntityId() const
{
    std::array<uint8_t, 8> bytes{};
    if (ReadBytes(entityIdPos, bytes.data(), bytes.size()) == -1)
        return 0x00000000FFFFFFFF;
    return LoadBigEndian<uint64_t>(bytes.data());
}

uint64_t VaEeprom::GetEntityModelId() const
{
    std::array<uint8_t, 8> bytes{};
    if (ReadBytes(entityModelIdPos, bytes.data(), bytes.size()) == -1)
        return 0xFFFFFFFFFFFFFFFF;
    return LoadBigEndian<uint64_t>(bytes.data());
}

int32_t VaEeprom::WriteId(int32_t position, uint64_t id)
{
    const auto bytes = StoreBigEndian(id);
    return WriteField(position, bytes.data(), bytes.size());
}

int32_t VaEeprom::SetEntityId(uint64_t id)
{
    return WriteId(entityIdPos, id);
}

int32_t VaEeprom::SetEntityModelId(uint64_t id)
{
    return WriteId(entityModelIdPos, id);
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
    std::array<uint8_t, 4> bytes{};
    if (ReadBytes(ariPos, bytes.data(), bytes.size()) == -1)
        return kNoAri;
    return static_cast<int32_t>(LoadBigEndian<uint32_t>(bytes.data()));
}

int32_t VaEeprom::SetAri(int32_t ari)
{
    // Bit 31 clear, bits 28 to 30 the rights class, bits 12 to 27 the manufacturer.
    const auto bits = static_cast<uint32_t>(ari);
    if (ari < 0 || (bits & 0x70000000) != 0x10000000 || (bits & 0x0FFFF000) != 0x005C8000)
        return -1;
    const auto bytes = StoreBigEndian(bits);
    return WriteField(ariPos, bytes.data(), bytes.size());
}

int32_t VaEeprom::GetAioCalibration(uint32_t index) const
{
    if (index >= kAioCalibrationCount)
        return 0;
    std::array<uint8_t, 4> bytes{};
    if (ReadBytes(aioCalibrationPos[index], bytes.data(), bytes.size()) == -1)
        return 1;
    return static_cast<int32_t>(LoadBigEndian<uint32_t>(bytes.data()));
}

int32_t VaEeprom::SetAioCalibration(uint32_t index, int32_t tenths)
{
    if (index >= kAioCalibrationCount || tenths < -kMaxCalibration || tenths > kMaxCalibration)
        return -1;
    const auto bytes = StoreBigEndian(static_cast<uint32_t>(tenths));
    return WriteField(aioCalibrationPos[index], bytes.data(), bytes.size());
}

uint8_t VaEeprom::GetUserByte(uint32_t index) const
{
    uint8_t value = 0;
    if (index >= kUserByteCount ||
        ReadBytes(kUserBytesPos + static_cast<int32_t>(index), &value, 1) == -1)
        return 0;
    return value;
}

void VaEeprom::SetUserByte(uint32_t index, uint8_t value)
{
    if (index < kUserByteCount)
        WriteField(kUserBytesPos + static_cast<int32_t>(index), &value, 1);
}

} // namespace vantorBoardSupport
