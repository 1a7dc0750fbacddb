#include "RecordPart.h"

#include "DescriptorIo.h"
#include "Failure.h"
#include "ShownText.h"
#include "SystemText.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>

namespace kestrelRecord {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kBetweenTries{10};

[[noreturn]] void refuse(const std::string& name)
{
    throw Failure(Status::kUnfit, name + " is not a regular file of 128 or 2048 bytes");
}

// Constant flags: otherwise a hardened build calls a function of its own, which a test bed that
// replaces open does not replace.
int openFor(Access access, const std::string& path)
{
    constexpr int kFlags = O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
    if (access == Access::kWrite)
        return open(path.c_str(), O_RDWR | kFlags);
    return open(path.c_str(), O_RDONLY | kFlags);
}

// Looks first, since opening alone can wake a device. Nothing here may wait for another process.
int openRegularFile(const std::string& path, const std::string& name, Access access)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) == 0) {
        if (!S_ISREG(status.st_mode))
            refuse(name);
        const int fd = openFor(access, path);
        if (fd >= 0)
            return fd;
    }
    throw Failure(Status::kFailed, "cannot open " + name + ": " + lastSystemText());
}

} // namespace

RecordPart::RecordPart(const std::string& path, Access access, std::chrono::seconds wait)
    : name(shownShort(path)), file(openRegularFile(path, name, access))
{
    checkSize();
    lock(access, wait);
    held = read();
}

const PartBytes& RecordPart::bytes() const
{
    return held;
}

void RecordPart::checkSize()
{
    struct stat status = {};
    if (fstat(file.number(), &status) != 0)
        fail("look at", lastSystemText());
    const bool small = status.st_size == off_t{kSmallPartBytes};
    const bool large = status.st_size == off_t{vantorBoardSupport::kMirrorCapacity};
    if (!S_ISREG(status.st_mode) || (!small && !large))
        refuse(name);
    held.resize(small ? kSmallPartBytes : kLargePartBytes);
}

void RecordPart::lock(Access access, std::chrono::seconds wait) const
{
    const int kind = access == Access::kWrite ? LOCK_EX : LOCK_SH;
    const auto deadline = steady_clock::now() + wait;
    while (flock(file.number(), kind | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK)
            fail("lock", lastSystemText());
        if (steady_clock::now() >= deadline) {
            throw Failure(Status::kLocked,
                          name + " is locked by another process (flock in front of kestrel-record "
                                 "itself locks it out, too)");
        }
        std::this_thread::sleep_for(kBetweenTries);
    }
}

PartBytes RecordPart::read() const
{
    PartBytes bytes(held.size());
    try {
        vantorBoardSupport::SeekRead(file.number(), 0, bytes.data(), bytes.size());
    } catch (const std::exception& error) {
        fail("read", error.what());
    }
    return bytes;
}

PartBytes RecordPart::write(const PartBytes& after, const ByteRange& range) const
{
    try {
        vantorBoardSupport::SeekWrite(file.number(), static_cast<int32_t>(range.begin),
                                      &after[range.begin], range.end - range.begin);
    } catch (const std::exception& error) {
        fail("write", error.what());
    }
    return read();
}

void RecordPart::fail(const std::string& action, const std::string& reason) const
{
    throw Failure(Status::kFailed, "cannot " + action + " " + name + ": " + reason);
}

} // namespace kestrelRecord
