#include "DocumentFile.h"

#include "AssertionFailure.h"
#include "Descriptor.h"
#include "Failure.h"
#include "ShownText.h"
#include "SystemText.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace kestrelRecord {

namespace {

constexpr size_t kLargest = 1024UL * 1024UL;

// 0 at the end, -1 with errno on a failure.
ssize_t readSome(int fd, char* buffer, size_t size)
{
    for (;;) {
        const ssize_t count = read(fd, buffer, size);
        // As a size, a result below -1 is too large as well.
        if (count != -1 && static_cast<size_t>(count) > size)
            vantorBoardSupport::FailAssertion("size_t(count) <= size", "DocumentFile.cpp", __LINE__,
                                              __func__);
        if (count >= 0 || (errno != EINTR && errno != EAGAIN))
            return count;
        pollfd input = {fd, POLLIN, 0};
        poll(&input, 1, -1);
    }
}

std::string readToEnd(int fd, const std::string& name)
{
    std::string text;
    std::array<char, 16384> buffer; // NOLINT(*-member-init): read just below
    for (;;) {
        const ssize_t count = readSome(fd, buffer.data(), buffer.size());
        if (count < 0)
            throw Failure(Status::kFailed, "cannot read " + name + ": " + lastSystemText());
        if (count == 0)
            return text;
        text.append(buffer.data(), static_cast<size_t>(count));
        if (text.size() > kLargest)
            throw Failure(Status::kRefused, name + " has more than 1048576 bytes");
    }
}

} // namespace

std::string readDocumentFile(const std::string& path)
{
    if (path == "-")
        return readToEnd(STDIN_FILENO, "standard input");
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (file.number() < 0)
        throw Failure(Status::kFailed, "cannot open " + shownShort(path) + ": " + lastSystemText());
    return readToEnd(file.number(), shownShort(path));
}

} // namespace kestrelRecord
