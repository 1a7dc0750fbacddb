#include "FieldTable.h"

#include "BigEndian.h"
#include "Calibration.h"
#include "ShownText.h"

#include <cstdio>
#include <cstdlib>

namespace kestrelRecord {

namespace {

using vantorBoardSupport::DateField;
using vantorBoardSupport::LoadBigEndian;
using vantorBoardSupport::ProductTypeFromText;
using vantorBoardSupport::ProductTypeToText;
using vantorBoardSupport::StoreBigEndian;

constexpr size_t kAbsent = 0;
constexpr size_t kFits = static_cast<size_t>(-1);
constexpr std::array<size_t, 2> kBoth = {kFits, kFits};
constexpr std::array<size_t, 2> kOnlyVersion1 = {kFits, kAbsent};
constexpr std::array<size_t, 2> kOnlyVersion2 = {kAbsent, kFits};

constexpr const char* kVersionRule = "the number 1 or 2";
constexpr const char* kMacRule = "six pairs of hexadecimal digits such as 02:a5:5e:12:34:01, not "
                                 "all zero and not a group address";
constexpr const char* kDateRule = "an existing date from 2013 to 2099 such as 2026-11-15 10:42:16";
constexpr const char* kTypeRule = "0x and one to four hexadecimal digits";
constexpr const char* kRevisionRule = "exactly 3 printable ASCII characters";
constexpr const char* kPcbSerialRule = "at most 36 printable ASCII characters (12 in version 1)";
constexpr const char* kSerialRule = "at most 13 printable ASCII characters";
constexpr const char* kIdRule = "0x and 16 hexadecimal digits";
constexpr const char* kAriRule = "from 0x105c8000 to 0x105c8fff";
constexpr const char* kCalibrationRule =
    "an array of 8 numbers from -5.0 to 5.0 with one decimal at most";
constexpr const char* kBlock8Rule = "16 hexadecimal digits";

std::string hexText(uint64_t number, int digits)
{
    std::array<char, 24> text{};
    snprintf(text.data(), text.size(), "%0*llx", digits, static_cast<unsigned long long>(number));
    return text.data();
}

uint64_t fromHex(const std::string& text)
{
    return strtoull(text.c_str(), nullptr, 16);
}

std::string readVersion(const MemoryRecord& record)
{
    return std::to_string(record.version());
}

// Formatting sets it.
int32_t keepVersion(MemoryRecord& record, const std::string& value)
{
    return value == readVersion(record) ? 0 : -1;
}

template <uint32_t Index> std::string readMac(const MemoryRecord& record)
{
    return record.MacToText(Index);
}

template <uint32_t Index> int32_t setMac(MemoryRecord& record, const std::string& value)
{
    return record.SetMacFromText(Index, value);
}

template <DateField Date> std::string readDate(const MemoryRecord& record)
{
    return record.DateToText(Date);
}

template <DateField Date> int32_t setDate(MemoryRecord& record, const std::string& value)
{
    return record.DateFromText(Date, value);
}

std::string readType(const MemoryRecord& record)
{
    return ProductTypeToText(record.ReadProductType());
}

int32_t setType(MemoryRecord& record, const std::string& value)
{
    return record.WriteProductType(ProductTypeFromText(value));
}

template <std::string (vantorBoardSupport::VaEeprom::*Read)() const>
std::string readText(const MemoryRecord& record)
{
    return (record.*Read)();
}

template <int32_t (vantorBoardSupport::Eeprom::*Write)(const std::string&)>
int32_t setText(MemoryRecord& record, const std::string& value)
{
    return (record.*Write)(value);
}

template <uint64_t (vantorBoardSupport::VaEeprom::*Read)() const>
std::string readId(const MemoryRecord& record)
{
    return "0x" + hexText((record.*Read)(), 16);
}

template <int32_t (vantorBoardSupport::VaEeprom::*Write)(uint64_t)>
int32_t setId(MemoryRecord& record, const std::string& value)
{
    return (record.*Write)(fromHex(value));
}

std::string readAri(const MemoryRecord& record)
{
    return "0x" + hexText(static_cast<uint32_t>(record.GetAri()), 8);
}

int32_t setAri(MemoryRecord& record, const std::string& value)
{
    return record.SetAri(static_cast<int32_t>(fromHex(value)));
}

std::string readCalibration(const MemoryRecord& record)
{
    Calibration tenths{};
    for (uint32_t i = 0; i < tenths.size(); ++i)
        tenths[i] = record.GetAioCalibration(i);
    return calibrationToText(tenths);
}

int32_t setCalibration(MemoryRecord& record, const std::string& value)
{
    const Calibration tenths = calibrationFromText(value);
    int32_t status = 0;
    for (uint32_t i = 0; status == 0 && i < tenths.size(); ++i)
        status = record.SetAioCalibration(i, tenths[i]);
    return status;
}

std::string readBlock8(const MemoryRecord& record)
{
    std::array<uint8_t, 8> block{};
    record.ReadField8(block);
    return hexText(LoadBigEndian<uint64_t>(block.data()), 16);
}

int32_t setBlock8(MemoryRecord& record, const std::string& value)
{
    return record.WriteBlock8(StoreBigEndian(fromHex(value)));
}

} // namespace

const std::vector<Field>& fieldTable()
{
    using vantorBoardSupport::VaEeprom;
    constexpr auto kMade = DateField::kProduction;
    constexpr auto kServiced = DateField::kLastService;
    constexpr bool kText = true;
    constexpr bool kJson = false;
    // clang-format off
    static const std::vector<Field> table = {
        {"version", kJson, kBoth, versionValue, kVersionRule, readVersion, keepVersion},
        {"mac1", kText, kBoth, macValue, kMacRule, readMac<0>, setMac<0>},
        {"mac2", kText, kBoth, macValue, kMacRule, readMac<1>, setMac<1>},
        {"mac3", kText, kBoth, macValue, kMacRule, readMac<2>, setMac<2>},
        {"mac4", kText, kBoth, macValue, kMacRule, readMac<3>, setMac<3>},
        {"usb_local_mac", kText, kOnlyVersion2, macValue, kMacRule, readMac<4>, setMac<4>},
        {"usb_host_mac", kText, kOnlyVersion2, macValue, kMacRule, readMac<5>, setMac<5>},
        {"productiondate", kText, kBoth, dateValue, kDateRule, readDate<kMade>, setDate<kMade>},
        {"servicedate", kText, kBoth, dateValue, kDateRule, readDate<kServiced>, setDate<kServiced>},
        {"type", kText, kBoth, typeValue, kTypeRule, readType, setType},
        {"hardware_rev", kText, kBoth, revisionValue, kRevisionRule,
         readText<&VaEeprom::GetHardwareRev>, setText<&VaEeprom::WriteHardwareRev>},
        {"pcb_rev", kText, kBoth, revisionValue, kRevisionRule,
         readText<&VaEeprom::GetPcbRev>, setText<&VaEeprom::WritePcbRev>},
        {"pcb_ser_num", kText, {12, 36}, printableValue, kPcbSerialRule,
         readText<&VaEeprom::GetPcbSerialNumber>, setText<&VaEeprom::WritePcbSerialNumber>},
        {"ser_num", kText, {13, 13}, printableValue, kSerialRule,
         readText<&VaEeprom::ReadSerialNumber>, setText<&VaEeprom::WriteSerialNumber>},
        {"entity_id", kText, kBoth, idValue, kIdRule,
         readId<&VaEeprom::GetEntityId>, setId<&VaEeprom::SetEntityId>},
        {"entity_model_id", kText, kBoth, idValue, kIdRule,
         readId<&VaEeprom::GetEntityModelId>, setId<&VaEeprom::SetEntityModelId>},
        {"ari", kText, kOnlyVersion2, ariValue, kAriRule, readAri, setAri},
        {"aio_calibration", kJson, kOnlyVersion2, calibrationValue, kCalibrationRule,
         readCalibration, setCalibration},
        {"block8", kText, kOnlyVersion1, block8Value, kBlock8Rule, readBlock8, setBlock8},
    };
    // clang-format on
    return table;
}

const Field* findField(const std::string& key)
{
    for (const Field& field : fieldTable()) {
        if (key == field.key)
            return &field;
    }
    return nullptr;
}

bool isIn(const Field& field, uint32_t version)
{
    return field.room[version - 1] != kAbsent;
}

std::string misfit(const Field& field, const std::string& value, uint32_t version)
{
    const size_t room = field.room[version - 1];
    if (room == kAbsent)
        return "version " + std::to_string(version) + " does not have this field";
    if (value.size() > room)
        return "version " + std::to_string(version) + " has room for " + std::to_string(room) +
               " characters, not for " + std::to_string(value.size());
    return "";
}

std::string asJson(const Field& field, const std::string& value)
{
    return field.isText ? quoted(value) : value;
}

} // namespace kestrelRecord
