#include "OutputFile.h"

#include "Descriptor.h"
#include "DescriptorIo.h"
#include "Failure.h"
#include "HeldSignals.h"
#include "ShownText.h"
#include "SystemText.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace kestrelRecord {

namespace {

constexpr int kMostLinks = 40; // as many as the system follows

void check(bool done)
{
    const int error = errno;
    if (!done)
        throw std::system_error(error, std::system_category());
}

std::string folderOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

// Where the file is, or would be made, after all links that its name itself is.
std::string withoutLinks(std::string path)
{
    for (int links = 0; links < kMostLinks; ++links) {
        std::array<char, PATH_MAX> target; // NOLINT(*-member-init): read just below
        const ssize_t length = readlink(path.c_str(), target.data(), target.size());
        if (length < 0)
            break;
        const std::string folder = target[0] == '/' ? "" : folderOf(path);
        path = folder + std::string(target.data(), static_cast<size_t>(length));
    }
    return path;
}

mode_t modeOfNewFile()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

// Removes what is left of a file that is not complete.
class TemporaryFile
{
public:
    explicit TemporaryFile(const std::string& target)
        : path(folderOf(target) + ".kestrel-record-XXXXXX"), file(mkostemp(path.data(), O_CLOEXEC))
    {
        check(file.number() >= 0);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    ~TemporaryFile()
    {
        if (!path.empty())
            unlink(path.c_str());
    }

    void fill(const std::vector<uint8_t>& bytes, mode_t mode)
    {
        vantorBoardSupport::WriteLoop(file.number(), bytes.data(), bytes.size());
        check(fchmod(file.number(), mode) == 0);
        check(fsync(file.number()) == 0);
        check(file.close());
    }

    void moveTo(const std::string& target)
    {
        check(rename(path.c_str(), target.c_str()) == 0);
        path.clear();
    }

private:
    std::string path; // empty once there is nothing to remove
    Descriptor file;
};

void replace(const std::string& target, const std::vector<uint8_t>& bytes, mode_t mode)
{
    HeldSignals signals;
    signals.hold();
    TemporaryFile file(target);
    file.fill(bytes, mode);
    file.moveTo(target);
}

void writeInto(const std::string& path, const std::vector<uint8_t>& bytes)
{
    Descriptor file(open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC | O_NOCTTY));
    check(file.number() >= 0);
    vantorBoardSupport::WriteLoop(file.number(), bytes.data(), bytes.size());
    check(file.close());
}

// Follows what is in the place of path. A link of /proc may name a file that has no name any
// more; such a file is written like a pipe.
void writeTo(const std::string& path, const std::vector<uint8_t>& bytes)
{
    struct stat there = {};
    struct stat target = {};
    const std::string name = withoutLinks(path);
    if (stat(path.c_str(), &there) != 0) {
        check(errno == ENOENT && !path.empty());
        replace(name, bytes, modeOfNewFile());
    } else if (S_ISREG(there.st_mode) && stat(name.c_str(), &target) == 0 &&
               there.st_dev == target.st_dev && there.st_ino == target.st_ino) {
        replace(name, bytes, there.st_mode & 07777);
    } else {
        writeInto(path, bytes);
    }
}

} // namespace

void writeOutputFile(const std::string& path, const std::vector<uint8_t>& bytes)
{
    const std::string name = path == "-" ? "standard output" : shownShort(path);
    try {
        if (path == "-")
            vantorBoardSupport::WriteLoop(STDOUT_FILENO, bytes.data(), bytes.size());
        else
            writeTo(path, bytes);
    } catch (const std::exception& error) {
        throw Failure(Status::kFailed, "cannot write " + name + ": " + error.what());
    }
}

} // namespace kestrelRecord
