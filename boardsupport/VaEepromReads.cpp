// The checked reads of VaEeprom, all of them from the mirror.

#include "VaEeprom.h"

#include "BigEndian.h"

#include <iostream>
#include <stdexcept>

namespace vantorBoardSupport {

namespace {

constexpr uint32_t kPatternLength = 6;

} // namespace

void VaEeprom::CopyFromMirror(int32_t position, uint8_t* destination, uint32_t count) const
{
    const auto first = static_cast<uint32_t>(position);
    for (uint32_t k = 0; k < count; ++k) {
        // One byte past the end passes: the mirror has room for it.
        if (first + k > size) {
            throw std::overflow_error("Read buffer Overflow EEPROM size:" + std::to_string(size) +
                                      " Pos:" + std::to_string(position));
        }
        destination[k] = mirror[first + k];
    }
}

int32_t VaEeprom::ReadBytes(int32_t position, void* destination, uint32_t count) const
{
    if (position == kNoField)
        return -1;
    try {
        if (!IsCrcValid())
            throw std::logic_error("CRC invalid");
        CopyFromMirror(position, static_cast<uint8_t*>(destination), count);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << std::endl;
        return -1;
    }
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
    std::array<uint8_t, 2> bytes{};
    if (ReadBytes(productTypePos, bytes.data(), bytes.size()) == -1)
        return 0xFFFF;
    return LoadBigEndian<uint16_t>(bytes.data());
}

uint32_t VaEeprom::ReadStoredCrc() const
{
    std::array<uint8_t, 4> bytes{};
    if (ReadBytes(static_cast<int32_t>(crcPos), bytes.data(), bytes.size()) == -1)
        return 0;
    return LoadBigEndian<uint32_t>(bytes.data());
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

int32_t VaEeprom::GetDateOfProduction(EepromDate& date) const
{
    const int32_t status = ReadDate(productionDatePos, date);
    if (status == -1)
        date = EepromDate();
    return status;
}

int32_t VaEeprom::GetDateOfLastService(EepromDate& date) const
{
    const int32_t status = ReadDate(serviceDatePos, date);
    if (status == -1)
        date = EepromDate();
    return status;
}

} // namespace vantorBoardSupport
