#include "DescriptorIo.h"

#include "FailingCalls.h"
#include "MessageOf.h"
#include "TemporaryDevice.h"

#include <array>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <numeric>
#include <stdexcept>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace vantorBoardSupport;

namespace {

// Large enough for no pipe or socket to take it at once.
constexpr size_t kLarge = 1 << 20;

struct Descriptor
{
    explicit Descriptor(int number) : fd(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        Close();
    }
    void Close()
    {
        if (fd >= 0)
            close(fd);
        fd = -1;
    }
    int fd;
};

struct Pipe
{
    Pipe() : Pipe(std::array<int, 2>()) {}
    explicit Pipe(std::array<int, 2> ends)
        : made(pipe(ends.data())), readEnd(ends[0]), writeEnd(ends[1])
    {
    }
    int made;
    Descriptor readEnd;
    Descriptor writeEnd;
};

Bytes Pattern(size_t count)
{
    Bytes bytes(count);
    for (size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<uint8_t>(i % 251);
    return bytes;
}

Bytes ReadToEnd(int fd, size_t chunk)
{
    Bytes all;
    Bytes part(chunk);
    ssize_t count = 0;
    while ((count = read(fd, part.data(), chunk)) > 0)
        all.insert(all.end(), part.begin(), part.begin() + count);
    return all;
}

std::string TextOf(int error)
{
    return strerror(error);
}

} // namespace

TEST(WriteLoop, WithNothingToWriteMakesNoCallEvenOnAClosedDescriptor)
{
    EXPECT_NO_THROW(WriteLoop(-1, nullptr, 0));
}

TEST(ReadLoop, WithNothingToReadMakesNoCallEvenOnAClosedDescriptor)
{
    EXPECT_NO_THROW(ReadLoop(-1, nullptr, 0));
}

// A short transfer, calls that fail for the moment, and the rest.
TEST(WriteLoop, ShortTransfersAreContinuedUntilAllIsWritten)
{
    for (const int error : {EINTR, EAGAIN}) {
        std::array<int, 2> ends{};
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
        Descriptor writer(ends[0]);
        const Descriptor reader(ends[1]);
        ASSERT_EQ(fcntl(writer.fd, F_SETFL, O_NONBLOCK), 0);
        const FailingCalls calls(Call::kWrite, 1, 3, error);
        Bytes received;
        std::thread slowReader([&] { received = ReadToEnd(reader.fd, 777); });

        const Bytes sent = Pattern(kLarge);
        WriteLoop(writer.fd, sent.data(), sent.size());
        writer.Close();
        slowReader.join();
        EXPECT_EQ(received, sent) << error;
    }
}

TEST(ReadLoop, ShortTransfersAreContinuedUntilAllIsRead)
{
    for (const int error : {EINTR, EAGAIN}) {
        Pipe pipe;
        ASSERT_EQ(pipe.made, 0);
        const FailingCalls calls(Call::kRead, 1, 3, error);
        const Bytes sent = Pattern(kLarge);
        std::thread writer([&] { WriteLoop(pipe.writeEnd.fd, sent.data(), sent.size()); });

        Bytes received(sent.size());
        ReadLoop(pipe.readEnd.fd, received.data(), received.size());
        writer.join();
        EXPECT_EQ(received, sent) << error;
    }
}

TEST(DescriptorIo, CallsThatAreInterruptedOrNotReadyAreRepeatedWithoutLimit)
{
    const Descriptor zeros(open("/dev/zero", O_RDWR));
    for (const int error : {EINTR, EAGAIN}) {
        char byte = 'x';
        {
            const FailingCalls calls(Call::kRead, 0, 1000000, error);
            EXPECT_NO_THROW(ReadLoop(zeros.fd, &byte, 1)) << error;
        }
        EXPECT_EQ(byte, '\0');
        const FailingCalls calls(Call::kWrite, 0, 1000000, error);
        EXPECT_NO_THROW(WriteLoop(zeros.fd, &byte, 1)) << error;
    }
}

TEST(WriteLoop, OnADescriptorThatIsNotOpenThrowsTheSystemsErrorAfterADoubledColon)
{
    const auto call = [] { WriteLoop(-1, "x", 1); };
    EXPECT_EQ(MessageOf<std::system_error>(call),
              "Error writing to file descriptor:: " + TextOf(EBADF));
    EXPECT_EQ(ErrnoOf(call), EBADF);
}

TEST(ReadLoop, OnADescriptorThatIsNotOpenThrowsTheSystemsErrorAfterADoubledColon)
{
    char byte = 0;
    const auto call = [&] { ReadLoop(-1, &byte, 1); };
    EXPECT_EQ(MessageOf<std::system_error>(call),
              "Error reading from file descriptor:: " + TextOf(EBADF));
    EXPECT_EQ(ErrnoOf(call), EBADF);
}

TEST(ReadLoop, TheEndOfTheDeviceThrowsALogicErrorAndKeepsTheBytesBeforeIt)
{
    const TemporaryDevice device({1, 2, 3});
    const Descriptor file(open(device.Path().c_str(), O_RDWR));
    Bytes received(4, 0xAA);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { ReadLoop(file.fd, received.data(), 4); }),
              "Error reading from file descriptor. No bytes read:");
    EXPECT_EQ(received, Bytes({1, 2, 3, 0xAA}));
}

TEST(SeekWrite, WritesAtThePositionAndNowhereElse)
{
    const TemporaryDevice device({0, 1, 2, 3, 4, 5});
    const Descriptor file(open(device.Path().c_str(), O_RDWR));
    SeekWrite(file.fd, 2, "AB", 2);
    EXPECT_EQ(device.Contents(), Bytes({0, 1, 'A', 'B', 4, 5}));
}

TEST(SeekRead, ReadsFromThePositionWhereverTheDescriptorStood)
{
    const TemporaryDevice device({0, 1, 2, 3, 4, 5});
    const Descriptor file(open(device.Path().c_str(), O_RDWR));
    Bytes received(2);
    for (int again = 0; again < 2; ++again) {
        SeekRead(file.fd, 3, received.data(), 2);
        EXPECT_EQ(received, Bytes({3, 4}));
    }
}

TEST(SeekWrite, OnADescriptorThatIsNotOpenFailsInTheSeekWithASingleColon)
{
    EXPECT_EQ(MessageOf<std::system_error>([] { SeekWrite(-1, 0, "x", 1); }),
              "Error seek file descriptor: " + TextOf(EBADF));
}

TEST(SeekRead, OnADescriptorThatCannotSeekFailsInTheSeek)
{
    const Pipe pipe;
    ASSERT_EQ(pipe.made, 0);
    char byte = 0;
    const auto call = [&] { SeekRead(pipe.readEnd.fd, 0, &byte, 1); };
    EXPECT_EQ(MessageOf<std::system_error>(call), "Error seek file descriptor: " + TextOf(ESPIPE));
    EXPECT_EQ(ErrnoOf(call), ESPIPE);
}

TEST(SeekWrite, ANegativePositionFailsInTheSeekAndWritesNothing)
{
    const TemporaryDevice device({0, 1, 2});
    const Descriptor file(open(device.Path().c_str(), O_RDWR));
    EXPECT_EQ(ErrnoOf([&] { SeekWrite(file.fd, -2, "AB", 2); }), EINVAL);
    EXPECT_EQ(device.Contents(), Bytes({0, 1, 2}));
}
