#include "MemoryRecord.h"

#include "Descriptor.h"
#include "DescriptorIo.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

namespace kestrelRecord {

namespace {

// As large as the larger part, whatever the record's version: a record object reads that much.
Descriptor memoryFile(const PartBytes& part)
{
    Descriptor file(memfd_create("kestrel-record", MFD_CLOEXEC));
    if (file.number() < 0 || ftruncate(file.number(), vantorBoardSupport::kMirrorCapacity) != 0) {
        const int error = errno;
        throw std::system_error(error, std::system_category(), "Error making a file in memory");
    }
    vantorBoardSupport::SeekWrite(file.number(), 0, part.data(), part.size());
    return file;
}

// Needed only until the record object has opened it. Where /proc is not mounted, the failure is
// not to be mistaken for one of the part.
std::string pathOf(const Descriptor& file)
{
    std::string path = "/proc/self/fd/" + std::to_string(file.number());
    if (access(path.c_str(), F_OK) != 0) {
        const int error = errno;
        throw std::system_error(error, std::system_category(), "cannot open " + path);
    }
    return path;
}

} // namespace

MemoryRecord::MemoryRecord(const PartBytes& part)
    : VaEeprom(pathOf(memoryFile(part))), length(part.size())
{
}

bool MemoryRecord::fitsPart(uint32_t versionWord) const
{
    return versionWord == 1 || (versionWord == 2 && length > kSmallPartBytes);
}

std::string MemoryRecord::damage() const
{
    const uint16_t word = ReadFormatVersion();
    if (!fitsPart(word)) {
        std::array<char, 40> text{};
        snprintf(text.data(), text.size(), "its version word is 0x%04x", word);
        return text.data();
    }
    if (!IsCrcValid())
        return "its CRC does not match";
    return ReadPattern() == "Vantor" ? "" : "its pattern is not Vantor";
}

void MemoryRecord::overlookDamage()
{
    SelectLayout(fitsPart(2) ? ReadFormatVersion() : 1);
    RewriteCrc();
    RefreshMirror();
}

uint32_t MemoryRecord::version() const
{
    return formatVersion;
}

uint32_t MemoryRecord::crcEnd() const
{
    return crcPos + sizeof(uint32_t);
}

PartBytes MemoryRecord::bytes() const
{
    PartBytes result(length);
    vantorBoardSupport::SeekRead(fd, 0, result.data(), result.size());
    return result;
}

} // namespace kestrelRecord
