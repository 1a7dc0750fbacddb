// The typed field writes of Eeprom: what a value must be and how it lies in its field.

#include "Eeprom.h"

namespace vantorBoardSupport {

namespace {

// Deliberately coarse: neither the lengths of the months nor leap years are known here, and a
// date whose month and day are not known yet (0) can be stored.
bool IsStorable(const EepromDate& date)
{
    return date.century == 20 && date.year >= 13 && date.year <= 99 && date.month <= 12 &&
           date.day <= 31 && date.hour <= 23 && date.minute <= 59 && date.second <= 59;
}

} // namespace

int32_t Eeprom::WriteRev(int32_t position, const Revision& revision)
{
    return WriteField(position, revision.data(), sizeof revision);
}

int32_t Eeprom::WriteRevText(int32_t position, const std::string& text)
{
    if (text.size() != Revision().size())
        return -1;
    return WriteRev(position, {text[0], text[1], text[2]});
}

int32_t Eeprom::WriteHardwareRev(const std::string& text)
{
    return WriteRevText(hardwareRevPos, text);
}

int32_t Eeprom::WritePcbRev(const std::string& text)
{
    return WriteRevText(pcbRevPos, text);
}

int32_t Eeprom::WriteDate(int32_t position, EepromDate date)
{
    return WriteField(position, &date, sizeof date);
}

int32_t Eeprom::WriteProductionDate(EepromDate date)
{
    return IsStorable(date) ? WriteDate(productionDatePos, date) : -1;
}

int32_t Eeprom::WriteServiceDate(EepromDate date)
{
    return IsStorable(date) ? WriteDate(serviceDatePos, date) : -1;
}

int32_t Eeprom::WriteProductType(uint16_t productType)
{
    return WriteNumber(productTypePos, productType);
}

int32_t Eeprom::WriteBlock8(const std::array<uint8_t, 8>& block)
{
    return WriteField(block8Pos, block.data(), sizeof block);
}

int32_t Eeprom::WritePadded(int32_t position, uint32_t width, const std::string& text)
{
    if (text.size() > width)
        return -1;
    const std::string zeros(width, '\0');
    WriteField(position, zeros.data(), width);
    return WriteField(position, text.data(), static_cast<uint32_t>(text.size()));
}

int32_t Eeprom::WritePcbSerialNumber(const std::string& text)
{
    return WritePadded(pcbSerialPos, pcbSerialMaxLen, text);
}

int32_t Eeprom::WriteSerialNumber(const std::string& text)
{
    return WritePadded(serialPos, kSerialNumberLength, text);
}

} // namespace vantorBoardSupport
