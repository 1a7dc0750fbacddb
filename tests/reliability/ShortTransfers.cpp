// Preloaded into a program, cuts its transfers short: with READ_AT_MOST or WRITE_AT_MOST in the
// environment each read or write moves no more bytes than that. Standard streams are spared.

#include <algorithm>
#include <cstdlib>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

size_t shortened(int fd, size_t count, const char* name)
{
    const char* const most = getenv(name);
    if (fd <= STDERR_FILENO || most == nullptr)
        return count;
    return std::min<size_t>(count, strtoul(most, nullptr, 10));
}

} // namespace

extern "C" ssize_t read(int fd, void* data, size_t count)
{
    return syscall(SYS_read, fd, data, shortened(fd, count, "READ_AT_MOST"));
}

extern "C" ssize_t write(int fd, const void* data, size_t count)
{
    return syscall(SYS_write, fd, data, shortened(fd, count, "WRITE_AT_MOST"));
}
