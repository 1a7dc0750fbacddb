#include "RecordModel.h"

#include "TextRules.h"

#include <algorithm>
#include <cstdio>

namespace {

// The fields follow each other. Only a MAC is followed by two unused bytes.
class Row
{
public:
    explicit Row(size_t start) : next(start) {}

    Field Take(size_t length)
    {
        next += length;
        return {next - length, length};
    }

private:
    size_t next;
};

Fields FieldsOf(bool isVersion1)
{
    Fields fields;
    Row row(8);
    for (size_t i = 0; i < (isVersion1 ? 4 : 6); ++i)
        fields.macs[i] = {row.Take(8).first, 6};
    fields.dates = {row.Take(7), row.Take(7)};
    fields.type = row.Take(2);
    fields.hardwareRev = row.Take(3);
    fields.pcbRev = row.Take(3);
    fields.pcbSerial = row.Take(isVersion1 ? 12 : 36);
    fields.serial = row.Take(13);
    fields.entityId = row.Take(8);
    fields.modelId = row.Take(8);
    for (Field& calibration : fields.calibrations)
        calibration = row.Take(isVersion1 ? 0 : 4);
    fields.ari = row.Take(isVersion1 ? 0 : 4);
    fields.crc = row.Take(4);
    return fields;
}

// Half a byte at a time, from the published table.
uint32_t Crc(const Bytes& bytes, size_t count)
{
    constexpr std::array<uint32_t, 16> kTable = {0x00000000, 0x1db71064, 0x3b6e20c8, 0x26d930ac,
                                                 0x76dc4190, 0x6b6b51f4, 0x4db26158, 0x5005713c,
                                                 0xedb88320, 0xf00f9344, 0xd6d6a3e8, 0xcb61b38c,
                                                 0x9b64c2b0, 0x86d3d2d4, 0xa00ae278, 0xbdbdf21c};
    uint32_t crc = 0xFFFFFFFF;
    for (size_t i = 0; i < count; ++i) {
        crc = kTable[(crc ^ bytes[i]) & 15] ^ (crc >> 4);
        crc = kTable[(crc ^ (bytes[i] >> 4)) & 15] ^ (crc >> 4);
    }
    return ~crc;
}

bool IsMacOption(const std::string& option)
{
    return option.size() == 6 && option.compare(0, 5, "--mac") == 0;
}

bool IsGuarded(const std::string& option)
{
    constexpr std::array<const char*, 5> kUnguarded = {"", "--version", "--valid", "--erase",
                                                       "--format_v2"};
    return std::find(kUnguarded.begin(), kUnguarded.end(), option) == kUnguarded.end();
}

bool IsStorable(const DateParts& date)
{
    constexpr DateParts kFirst = {20, 13, 0, 0, 0, 0, 0};
    constexpr DateParts kLast = {20, 99, 12, 31, 23, 59, 59};
    for (size_t i = 0; i < date.size(); ++i) {
        if (date[i] < kFirst[i] || date[i] > kLast[i])
            return false;
    }
    return true;
}

std::string Repeated(const std::string& text, size_t count)
{
    std::string all;
    for (size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

const std::string kMessage = "CRC invalid\n";

} // namespace

RecordModel::RecordModel(const Bytes& partContents)
    : contents(partContents), isVersion1(partContents[0] == 0 && partContents[1] == 1),
      fields(FieldsOf(isVersion1))
{
}

size_t RecordModel::Size() const
{
    return isVersion1 ? 128 : 2048;
}

bool RecordModel::IsLoadable() const
{
    return contents.size() >= Size();
}

bool RecordModel::IsIntact() const
{
    return Number(fields.crc) == Crc(contents, fields.crc.first);
}

uint64_t RecordModel::Number(const Field& field) const
{
    uint64_t number = 0;
    for (size_t i = 0; i < field.length; ++i)
        number = number * 256 + contents[field.first + i];
    return number;
}

bool RecordModel::IsReadable(const Field& field) const
{
    return field.length > 0 && IsIntact();
}

uint64_t RecordModel::Number(const Field& field, uint64_t failureValue) const
{
    return IsReadable(field) ? Number(field) : failureValue;
}

std::string RecordModel::Hex(const Field& field, uint64_t failureValue) const
{
    return Digits(Number(field, failureValue), 16);
}

std::string RecordModel::Mac(size_t index) const
{
    Octets mac{};
    if (IsReadable(fields.macs[index]))
        std::copy_n(contents.begin() + static_cast<ptrdiff_t>(fields.macs[index].first), 6,
                    mac.begin());
    return ExpectedMacText(mac);
}

std::string RecordModel::UsbMac(size_t index, const char* fallback) const
{
    const std::string text = Mac(index);
    return text.find_first_not_of("0:") == std::string::npos ? fallback : text;
}

std::string RecordModel::Date(size_t index) const
{
    DateParts date{};
    if (IsIntact())
        std::copy_n(contents.begin() + static_cast<ptrdiff_t>(fields.dates[index].first), 7,
                    date.begin());
    return ExpectedDateText(date);
}

std::string RecordModel::Text(const Field& field, const char* failureValue) const
{
    if (!IsIntact())
        return failureValue;
    std::string text;
    for (size_t i = 0; i < field.length && contents[field.first + i] != 0; ++i)
        text += static_cast<char>(contents[field.first + i]);
    return text;
}

std::string RecordModel::Calibration(size_t index) const
{
    const auto bits = static_cast<uint32_t>(Number(fields.calibrations[index], 1));
    const float tenths = static_cast<float>(static_cast<int32_t>(bits));
    std::array<char, 40> decibel{};
    std::snprintf(decibel.data(), decibel.size(), "%g", static_cast<double>(tenths / 10.0F));
    return decibel.data() + ("dB (0x" + Digits(bits, 16)) + ")";
}

const Field* RecordModel::TextField(const std::string& option) const
{
    if (option == "--hardware_rev")
        return &fields.hardwareRev;
    if (option == "--pcb_rev")
        return &fields.pcbRev;
    if (option == "--ser_num")
        return &fields.serial;
    return option == "--pcb_ser_num" ? &fields.pcbSerial : nullptr;
}

std::string RecordModel::GuardedDisplay(const std::string& option) const
{
    if (option == "--crc")
        return Digits(Number(fields.crc, 0), 10);
    if (option == "--type")
        return "0x" + Hex(fields.type, 0xFFFF);
    if (option == "--productiondate")
        return Date(0);
    if (option == "--servicedate")
        return Date(1);
    if (IsMacOption(option))
        return Mac(static_cast<size_t>(option[5] - '1'));
    if (option == "--ser_num")
        return Text(fields.serial, "0000000000000");
    return Text(*TextField(option), option == "--pcb_ser_num" ? "0" : "000");
}

std::string RecordModel::Display(const std::string& option) const
{
    if (IsGuarded(option))
        return GuardedDisplay(option);
    if (option == "--version")
        return Digits(Number({0, 2}), 10);
    if (option == "--valid")
        return IsIntact() ? "1" : "0";
    return option.empty() ? "" : "--ERASE ALL--";
}

std::string RecordModel::DisplayMessages(const std::string& option) const
{
    return IsGuarded(option) && !IsIntact() ? kMessage : "";
}

std::string RecordModel::DumpHead() const
{
    std::string text = "FormatVersion    : 0x" + Digits(Number({0, 2}), 16);
    text += "\nFormatPattern    : " + Text({2, 6}, "");
    for (const size_t i : {0U, 1U, 2U, 3U})
        text += "\nMAC" + Digits(i, 10) + "             : " + Mac(i);
    text += "\nMAC USB local    : " + UsbMac(4, "02:a5:5e:00:00:01");
    text += "\nMAC USB host     : " + UsbMac(5, "02:a5:5e:00:00:02");
    return text + "\nDateOfProduction : \nDateOfLastService: ";
}

std::string RecordModel::Dump() const
{
    std::string text = DumpHead();
    text += "\nProductType      : 0x" + Hex(fields.type, 0xFFFF);
    text += "\nHardware Rev     : " + Text(fields.hardwareRev, "000");
    text += "\nPCB Rev          : " + Text(fields.pcbRev, "000");
    text += "\nPCB SerialNumber : " + Text(fields.pcbSerial, "0");
    text += "\nSerialNumber     : " + Text(fields.serial, "0000000000000");
    text += "\nEntityId         : " + Hex(fields.entityId, 0xFFFFFFFF);
    text += "\nEntityModelId    : " + Hex(fields.modelId, 0xFFFFFFFFFFFFFFFF);
    text += "\nARI (DECT ID)    : " + Hex(fields.ari, 0xDEC11D);
    for (size_t i = 0; i < fields.calibrations.size(); ++i)
        text += "\nAioCalibration " + Digits(i, 10) + " : " + Calibration(i);
    text += "\nCrc32            : 0x" + Hex(fields.crc, 0);
    return text + "\nvalid            : " + (IsIntact() ? "1" : "0") + "\n\n";
}

// One for each read, and the calibration values are read twice.
std::string RecordModel::DumpMessages() const
{
    return Repeated(IsIntact() ? "" : kMessage, isVersion1 ? 15 : 34);
}

void RecordModel::Format(const Bytes& formatted)
{
    std::copy(formatted.begin(), formatted.end(), contents.begin());
}

void RecordModel::Erase()
{
    std::fill_n(contents.begin(), Size(), static_cast<uint8_t>(0xFF));
}

void RecordModel::StoreCrc()
{
    uint32_t crc = Crc(contents, fields.crc.first);
    for (size_t i = 4; i-- > 0; crc >>= 8)
        contents[fields.crc.first + i] = static_cast<uint8_t>(crc);
}

void RecordModel::Store(const Field& field, Bytes bytes)
{
    bytes.resize(field.length, 0);
    std::copy(bytes.begin(), bytes.end(), contents.begin() + static_cast<ptrdiff_t>(field.first));
    StoreCrc();
}

RecordModel::Written RecordModel::WriteDate(const Field& field, const std::string& value)
{
    const auto date = ExpectedDate(value);
    if (!date)
        return Written::kTooShort;
    if (IsStorable(*date))
        Store(field, Bytes(date->begin(), date->end()));
    return Written::kDone;
}

RecordModel::Written RecordModel::Write(const std::string& option, const std::string& value)
{
    if (option == "--productiondate" || option == "--servicedate")
        return WriteDate(fields.dates[option == "--servicedate" ? 1 : 0], value);
    if (option == "--type") {
        const uint16_t type = ExpectedProductType(value);
        Store(fields.type, {static_cast<uint8_t>(type >> 8), static_cast<uint8_t>(type)});
    } else if (IsMacOption(option)) {
        if (const auto mac = ExpectedMac(value))
            Store(fields.macs[static_cast<size_t>(option[5] - '1')],
                  Bytes(mac->begin(), mac->end()));
    } else if (const Field* field = TextField(option)) {
        const bool wholeField = field->length == 3;
        if (wholeField ? value.size() == 3 : value.size() <= field->length)
            Store(*field, BytesOf(value));
    }
    return Written::kDone;
}
