// The checked reads of VaEeprom, all of them from the mirror.

#include "VaEeprom.h"

#include <iostream>
#include <string>

namespace vantorBoardSupport {

namespace {

constexpr uint32_t kPatternLength = 6;

int32_t ReportFailure(const std::string& message)
{
    std::cerr << message << std::endl;
    return -1;
}

} // namespace

bool VaEeprom::CopyFromMirror(int32_t position, uint8_t* destination, uint32_t count) const
{
    const auto first = static_cast<uint32_t>(position);
    for (uint32_t k = 0; k < count; ++k) {
        // One byte past the end passes: the mirror has room for it.
        if (first + k > size)
            return false;
        destination[k] = mirror[first + k];
    }
    return true;
}

int32_t VaEeprom::ReadBytes(int32_t position, void* destination, uint32_t count) const
{
    if (position == kNoField)
        return -1;
    if (!IsCrcValid())
        return ReportFailure("CRC invalid");
    if (!CopyFromMirror(position, static_cast<uint8_t*>(destination), count)) {
        return ReportFailure("Read buffer Overflow EEPROM size:" + std::to_string(size) +
                             " Pos:" + std::to_string(position));
    }
    return 0;
}

std::string VaEeprom::ReadText(int32_t position, uint32_t width, const char* failureValue) const
{
    std::string text(width, '\0');
    if (ReadBytes(position, text.data(), width) == -1)
        return failureValue;
    return text.substr(0, text.find('\0'));
}

int32_t VaEeprom::ReadRev(int32_t position, Revision& revision) const
{
    return ReadBytes(position, revision.data(), sizeof revision);
}

int32_t VaEeprom::ReadDate(int32_t position, EepromDate& date) const
{
    return ReadBytes(position, &date, sizeof date);
}

int32_t VaEeprom::ReadField8(std::array<uint8_t, 8>& block) const
{
    return ReadBytes(block8Pos, block.data(), sizeof block);
}

std::string VaEeprom::ReadPattern() const
{
    return ReadText(static_cast<int32_t>(patternPos), kPatternLength, "");
}

std::string VaEeprom::ReadSerialNumber() const
{
    return ReadText(serialPos, kSerialNumberLength, "0000000000000");
}

uint16_t VaEeprom::ReadProductType() const
{
    return ReadNumber<uint16_t>(productTypePos).value_or(0xFFFF);
}

uint32_t VaEeprom::ReadStoredCrc() const
{
    return ReadNumber<uint32_t>(static_cast<int32_t>(crcPos)).value_or(0);
}

std::string VaEeprom::GetHardwareRev() const
{
    return ReadText(hardwareRevPos, Revision().size(), "000");
}

std::string VaEeprom::GetPcbRev() const
{
    return ReadText(pcbRevPos, Revision().size(), "000");
}

std::string VaEeprom::GetPcbSerialNumber() const
{
    return ReadText(pcbSerialPos, pcbSerialMaxLen, "0");
}

int32_t VaEeprom::ReadDateOrZero(int32_t position, EepromDate& date) const
{
    const int32_t status = ReadDate(position, date);
    if (status == -1)
        date = EepromDate();
    return status;
}

int32_t VaEeprom::GetDateOfProduction(EepromDate& date) const
{
    return ReadDateOrZero(productionDatePos, date);
}

int32_t VaEeprom::GetDateOfLastService(EepromDate& date) const
{
    return ReadDateOrZero(serviceDatePos, date);
}

} // namespace vantorBoardSupport
