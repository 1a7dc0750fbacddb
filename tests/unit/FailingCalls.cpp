#include "FailingCalls.h"

#include <cerrno>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

Call call = Call::kRead;
long callsToPass = 0;
long callsToFail = 0;
int errorOfCalls = 0;

bool Fails(Call made)
{
    if (made != call || callsToFail == 0)
        return false;
    if (callsToPass > 0) {
        --callsToPass;
        return false;
    }
    --callsToFail;
    errno = errorOfCalls;
    return true;
}

} // namespace

FailingCalls::FailingCalls(Call failingCall, long passing, long failing, int error)
{
    call = failingCall;
    callsToPass = passing;
    callsToFail = failing;
    errorOfCalls = error;
}

FailingCalls::~FailingCalls()
{
    callsToFail = 0;
}

// In place of the system's.
extern "C" ssize_t read(int fd, void* destination, size_t count)
{
    return Fails(Call::kRead) ? -1 : syscall(SYS_read, fd, destination, count);
}

extern "C" ssize_t write(int fd, const void* data, size_t count)
{
    return Fails(Call::kWrite) ? -1 : syscall(SYS_write, fd, data, count);
}
