#include "Eeprom.h"

#include "BigEndian.h"
#include "Crc32.h"
#include "DescriptorIo.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <unistd.h>
#include <vector>

namespace vantorBoardSupport {

namespace {

constexpr uint32_t kCrcStart = 0xFFFFFFFF;

uint32_t RecordCrc(const uint8_t* record, uint32_t length)
{
    return Crc32(record, length, kCrcStart, true);
}

} // namespace

Eeprom::~Eeprom()
{
    if (fd > 0)
        close(fd);
}

void Eeprom::Format(uint32_t /*version*/) {}

void Eeprom::ReopenHook() {}

void Eeprom::SetPath(const std::string& devicePath)
{
    path = devicePath;
}

int Eeprom::Open()
{
    fd = open(path.c_str(), O_RDWR);
    if (fd < 0) {
        const int error = errno;
        std::array<char, 200> buffer{};
        std::ostringstream message;
        message << "Error: Open file descriptor: "
                << strerror_r(error, buffer.data(), buffer.size());
        throw std::logic_error(message.str());
    }
    return fd;
}

void Eeprom::Reopen()
{
    if (fd > 0)
        close(fd);
    Open();
    ReopenHook();
    RefreshMirror();
}

uint16_t Eeprom::ReadFormatVersion() const
{
    try {
        std::array<uint8_t, 2> word{};
        SeekRead(fd, versionPos, word.data(), word.size());
        return LoadBigEndian<uint16_t>(word.data());
    } catch (...) {
        return 0xFFFF;
    }
}

void Eeprom::RefreshMirror()
{
    if (size > kMirrorCapacity)
        throw std::logic_error("Mirror size is not big enough ");
    SeekRead(fd, 0, mirror.data(), size);
}

bool Eeprom::IsCrcValid() const
{
    return RecordCrc(mirror.data(), crcPos) == LoadBigEndian<uint32_t>(&mirror[crcPos]);
}

void Eeprom::RewriteCrc()
{
    // The seeks are not checked: a failure shows, if at all, in the following transfer.
    std::vector<uint8_t> record(size);
    lseek(fd, 0, SEEK_SET);
    ReadLoop(fd, record.data(), size);

    const auto crc = StoreBigEndian(RecordCrc(record.data(), crcPos));
    lseek(fd, crcPos, SEEK_SET);
    WriteLoop(fd, crc.data(), crc.size());
}

void Eeprom::WriteVerified(int32_t position, const void* data, uint32_t length)
{
    SeekWrite(fd, position, data, length);

    std::vector<uint8_t> readBack(length);
    SeekRead(fd, position, readBack.data(), length);
    const auto* written = static_cast<const uint8_t*>(data);
    if (!std::equal(written, written + length, readBack.begin()))
        throw std::logic_error("write verified error (write protected?)");
}

int32_t Eeprom::WriteField(int32_t position, const void* data, uint32_t length)
{
    if (position == kNoField)
        return -1;
    if (static_cast<uint32_t>(position) + length > size)
        throw std::logic_error("Write overflow");

    WriteVerified(position, data, length);
    RewriteCrc();
    RefreshMirror();
    return 0;
}

void Eeprom::Erase()
{
    const std::vector<uint8_t> blank(size, 0xFF);
    try {
        WriteVerified(0, blank.data(), size);
    } catch (const std::exception& error) {
        std::cerr << error.what() << std::endl;
    }
}

} // namespace vantorBoardSupport
