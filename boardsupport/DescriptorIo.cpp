#include "DescriptorIo.h"

#include "AssertionFailure.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

namespace vantorBoardSupport {

namespace {

struct TransferTexts
{
    const char* callFailed;
    const char* nothingTransferred;
    const char* assertion;
    unsigned int assertionLine;
    const char* function;
};

constexpr TransferTexts kWriteTexts = {
    "Error writing to file descriptor:",
    "Error writing to file descriptor. No bytes written:",
    "size_t(writtenCount) <= byteCountLeft",
    66,
    "void vantorBoardSupport::WriteLoop(int, const void*, size_t)",
};

constexpr TransferTexts kReadTexts = {
    "Error reading from file descriptor:",
    "Error reading from file descriptor. No bytes read:",
    "size_t(readCount) <= byteCountLeft",
    95,
    "void vantorBoardSupport::ReadLoop(int, void*, size_t)",
};

template <typename Byte, typename SystemCall>
void TransferLoop(Byte* bytes, size_t bytesLeft, SystemCall systemCall, const TransferTexts& texts)
{
    while (bytesLeft > 0) {
        const ssize_t result = systemCall(bytes, bytesLeft);
        if (result == -1) {
            const int error = errno;
            if (error == EINTR || error == EAGAIN)
                continue;
            throw std::system_error(error, std::system_category(), texts.callFailed);
        }
        if (result == 0)
            throw std::logic_error(texts.nothingTransferred);

        // As a size, a result below -1 is too large as well.
        const auto transferred = static_cast<size_t>(result);
        if (transferred > bytesLeft)
            FailAssertion(texts.assertion, "../Eeprom.cpp", texts.assertionLine, texts.function);
        bytes += transferred;
        bytesLeft -= transferred;
    }
}

void Seek(int fd, int32_t position)
{
    if (lseek(fd, position, SEEK_SET) < 0) {
        const int error = errno;
        throw std::system_error(error, std::system_category(), "Error seek file descriptor");
    }
}

} // namespace

void WriteLoop(int fd, const void* data, size_t count)
{
    const auto writeSome = [fd](const char* bytes, size_t left) { return write(fd, bytes, left); };
    TransferLoop(static_cast<const char*>(data), count, writeSome, kWriteTexts);
}

void ReadLoop(int fd, void* destination, size_t count)
{
    const auto readSome = [fd](char* bytes, size_t left) { return read(fd, bytes, left); };
    TransferLoop(static_cast<char*>(destination), count, readSome, kReadTexts);
}

void SeekWrite(int fd, int32_t position, const void* data, size_t count)
{
    Seek(fd, position);
    WriteLoop(fd, data, count);
}

void SeekRead(int fd, int32_t position, void* destination, size_t count)
{
    Seek(fd, position);
    ReadLoop(fd, destination, count);
}

} // namespace vantorBoardSupport
