#pragma once

#include "Descriptor.h"
#include "MemoryRecord.h"
#include "WritePlan.h"

#include <chrono>
#include <string>

namespace kestrelRecord {

enum class Access
{
    kRead,
    kWrite,
};

// A part, or a file in its place: opened, locked until it is destroyed, and read once.
class RecordPart
{
public:
    // Takes a shared lock for kRead and an exclusive one for kWrite, and waits for it that long.
    // Throws Failure: kUnfit for anything but a regular file of 128 or 2048 bytes, kLocked if the
    // lock is held for longer, kFailed if the system refuses something. Does not wait for
    // anything but the lock.
    RecordPart(const std::string& path, Access access, std::chrono::seconds wait);

    // What the part held when it was opened.
    const PartBytes& bytes() const;

    // Writes the range of after in one go, reads all formatted bytes once and returns them.
    // Throws Failure (kFailed) if the system refuses that; the part may have been changed then.
    PartBytes write(const PartBytes& after, const ByteRange& range) const;

private:
    void checkSize();
    void lock(Access access, std::chrono::seconds wait) const;
    PartBytes read() const;
    [[noreturn]] void fail(const std::string& action, const std::string& reason) const;

    std::string name; // of the part, printable
    Descriptor file;
    PartBytes held;
};

} // namespace kestrelRecord
