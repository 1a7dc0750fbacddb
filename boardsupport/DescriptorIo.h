#pragma once

#include <cstddef>
#include <cstdint>

namespace vantorBoardSupport {

// All-or-nothing transfers through a file descriptor. Short transfers are continued; EINTR and
// EAGAIN are retried at once and without limit. A count of 0 makes no transfer call at all.
//
// On failure the bytes already transferred stay transferred and the descriptor stays open:
//   std::system_error  the call failed (errno, system category)
//   std::logic_error   the call transferred nothing; for a read that is the end of the device
// A system call that claims more bytes than were asked for fails an assertion.

void WriteLoop(int fd, const void* data, size_t count);
void ReadLoop(int fd, void* destination, size_t count);

// The same, starting at byte position of the device. A failed seek throws
// std::system_error and transfers nothing.
void SeekWrite(int fd, int32_t position, const void* data, size_t count);
void SeekRead(int fd, int32_t position, void* destination, size_t count);

} // namespace vantorBoardSupport
