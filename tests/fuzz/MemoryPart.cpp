#include "MemoryPart.h"

#include "Expect.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

MemoryPart::MemoryPart(size_t partSize)
    : fd(memfd_create("eeprom", MFD_CLOEXEC | MFD_ALLOW_SEALING)), size(partSize)
{
    Expect(ftruncate(fd, static_cast<off_t>(size)) == 0, "a file in memory");
    Expect(fcntl(fd, F_ADD_SEALS, F_SEAL_GROW | F_SEAL_SHRINK) == 0, "its size is fixed");
}

MemoryPart::~MemoryPart()
{
    close(fd);
}

std::string MemoryPart::Path() const
{
    return "/proc/self/fd/" + std::to_string(fd);
}

void MemoryPart::Overwrite(const Bytes& contents) const
{
    const auto count = static_cast<ssize_t>(size);
    Expect(contents.size() == size && pwrite(fd, contents.data(), size, 0) == count,
           "the part is overwritten");
}

Bytes MemoryPart::Contents() const
{
    Bytes contents(size);
    Expect(pread(fd, contents.data(), size, 0) == static_cast<ssize_t>(size), "the part is read");
    return contents;
}
