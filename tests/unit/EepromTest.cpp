#include "Eeprom.h"

#include "Crc32.h"
#include "DescriptorIo.h"
#include "FailingCalls.h"
#include "MessageOf.h"
#include "TestEeprom.h"

#include <array>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

using namespace vantorBoardSupport;

namespace {

constexpr const char* kVerifyText = "write verified error (write protected?)";

// A device that accepts every write and keeps reading as zeros, like a write-protected part.
constexpr const char* kProtectedDevice = "/dev/zero";

// A 16-byte device whose record ends at byte 8.
class SmallDevice : public testing::Test
{
protected:
    TemporaryDevice device{Bytes(16, 0x11)};
    TestEeprom eeprom{device.Path(), 16, 8};

    Bytes ExpectedCrc() const
    {
        const Bytes record = device.Contents(0, 8);
        const uint32_t crc = Crc32(record.data(), 8, 0xFFFFFFFF, true);
        return {static_cast<uint8_t>(crc >> 24), static_cast<uint8_t>(crc >> 16),
                static_cast<uint8_t>(crc >> 8), static_cast<uint8_t>(crc)};
    }
};

using Open = SmallDevice;
using Reopen = SmallDevice;
using ReadFormatVersion = SmallDevice;
using RefreshMirror = SmallDevice;
using IsCrcValid = SmallDevice;
using RewriteCrc = SmallDevice;
using WriteField = SmallDevice;
using Erase = SmallDevice;

} // namespace

TEST(Eeprom, StartsClosedWithEverythingZeroButThePcbSerialWidth)
{
    const TestEeprom eeprom;
    EXPECT_EQ(eeprom.path, "");
    EXPECT_EQ(eeprom.fd, -1);
    EXPECT_EQ(eeprom.Mirror(2049), Bytes(2049, 0));
    EXPECT_EQ(eeprom.formatVersion, 0U);
    EXPECT_EQ(eeprom.size, 0U);
    EXPECT_EQ(eeprom.versionPos, 0);
    EXPECT_EQ(eeprom.patternPos, 0U);
    EXPECT_EQ(eeprom.productionDatePos, 0);
    EXPECT_EQ(eeprom.serviceDatePos, 0);
    EXPECT_EQ(eeprom.productTypePos, 0);
    EXPECT_EQ(eeprom.hardwareRevPos, 0);
    EXPECT_EQ(eeprom.pcbRevPos, 0);
    EXPECT_EQ(eeprom.pcbSerialPos, 0);
    EXPECT_EQ(eeprom.serialPos, 0);
    EXPECT_EQ(eeprom.crcPos, 0U);
    EXPECT_EQ(eeprom.block8Pos, 0);
    EXPECT_EQ(eeprom.pcbSerialMaxLen, 12U);
}

TEST_F(Open, ReturnsTheDescriptorOfTheDeviceForReadingAndWriting)
{
    TestEeprom other;
    other.SetPath(device.Path());
    const int fd = other.Open();
    EXPECT_GT(fd, 0);
    EXPECT_EQ(fd, other.fd);
    EXPECT_EQ(fcntl(fd, F_GETFL) & (O_ACCMODE | O_APPEND | O_NONBLOCK | O_SYNC), O_RDWR);
}

TEST_F(Open, AsDescriptorZeroIsNoFailure)
{
    const int standardInput = dup(0);
    close(0);
    TestEeprom other;
    other.SetPath(device.Path());
    EXPECT_EQ(MessageOf<std::logic_error>([&] { other.Open(); }), "(no exception)");
    EXPECT_EQ(other.fd, 0);
    dup2(standardInput, 0);
    close(standardInput);
}

TEST(OpenFailure, OfAMissingPathThrowsTheSystemsTextAfterASingleColonAndLeavesMinusOne)
{
    TestEeprom eeprom;
    eeprom.SetPath("/nowhere/eeprom");
    EXPECT_EQ(MessageOf<std::logic_error>([&] { eeprom.Open(); }),
              std::string("Error: Open file descriptor: ") + strerror(ENOENT));
    EXPECT_EQ(eeprom.fd, -1);
}

TEST(EepromDestructor, ClosesItsDescriptor)
{
    const TemporaryDevice device({0});
    const size_t before = OpenDescriptors();
    {
        const TestEeprom eeprom(device.Path(), 1, 0);
        EXPECT_EQ(OpenDescriptors(), before + 1);
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(EepromDestructor, LeavesDescriptorZeroOpen)
{
    {
        TestEeprom eeprom;
        eeprom.fd = 0;
    }
    EXPECT_NE(fcntl(0, F_GETFD), -1);
}

TEST_F(Open, AsDescriptorOneIsClosedByReopenAndDestructor)
{
    const int standardOutput = dup(1);
    const size_t before = OpenDescriptors();
    close(1);
    {
        TestEeprom other;
        other.SetPath(device.Path());
        other.size = 1;
        EXPECT_EQ(other.Open(), 1);
        other.Reopen();
        EXPECT_EQ(other.fd, 1);
    }
    EXPECT_EQ(OpenDescriptors(), before - 1);
    dup2(standardOutput, 1);
    close(standardOutput);
}

TEST_F(Reopen, ClosesTheDescriptorOpensThePathAgainAndReloadsTheMirror)
{
    const size_t before = OpenDescriptors();
    device.Overwrite(3, {0x77});
    eeprom.Reopen();
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_EQ(eeprom.Mirror(16), device.Contents());
}

TEST_F(Reopen, DoesNotCloseDescriptorZero)
{
    const int own = eeprom.fd;
    eeprom.fd = 0;
    eeprom.Reopen();
    EXPECT_NE(fcntl(0, F_GETFD), -1);
    EXPECT_NE(eeprom.fd, 0);
    close(own);
}

TEST_F(Reopen, AfterAFailureWorksAgainOnceThePathIsThere)
{
    const size_t before = OpenDescriptors();
    eeprom.SetPath("/nowhere/eeprom");
    EXPECT_THROW(eeprom.Reopen(), std::logic_error);
    EXPECT_EQ(eeprom.fd, -1);
    EXPECT_EQ(OpenDescriptors(), before - 1);
    EXPECT_EQ(ErrnoOf([&] { eeprom.RefreshMirror(); }), EBADF);

    eeprom.SetPath(device.Path());
    eeprom.Reopen();
    EXPECT_EQ(eeprom.Mirror(16), device.Contents());
}

TEST_F(ReadFormatVersion, IsTheBigEndianWordOnTheDeviceNotInTheMirror)
{
    device.Overwrite(4, {0x12, 0x34});
    eeprom.versionPos = 4;
    EXPECT_EQ(eeprom.ReadFormatVersion(), 0x1234U);
    EXPECT_EQ(eeprom.Mirror(16), Bytes(16, 0));
}

TEST_F(ReadFormatVersion, IsAllOnesOnADeviceTooShortForTheWord)
{
    eeprom.versionPos = 15;
    testing::internal::CaptureStderr();
    EXPECT_EQ(eeprom.ReadFormatVersion(), 0xFFFFU);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(RefreshMirror, CopiesExactlySizeBytes)
{
    eeprom.size = 10;
    eeprom.RefreshMirror();
    EXPECT_EQ(eeprom.Mirror(2049), Bytes(10, 0x11) + Bytes(2039, 0));
}

TEST(RefreshMirrorCapacity, TakesADeviceOf2048Bytes)
{
    const TemporaryDevice device(Bytes(4096, 0x22));
    TestEeprom eeprom(device.Path(), 2048, 0);
    eeprom.RefreshMirror();
    EXPECT_EQ(eeprom.Mirror(2049), Bytes(2048, 0x22) + Bytes(1, 0));
}

TEST(RefreshMirrorCapacity, Refuses2049BytesBeforeAnyDeviceAccess)
{
    TestEeprom eeprom; // not even open
    eeprom.size = 2049;
    EXPECT_EQ(MessageOf<std::logic_error>([&] { eeprom.RefreshMirror(); }),
              "Mirror size is not big enough ");
}

TEST_F(RefreshMirror, ThatFailsLeavesTheMirrorAsItIs)
{
    eeprom.mirror.fill(0x33);
    const FailingCalls calls(Call::kRead, 0, 1, EIO);
    EXPECT_EQ(ErrnoOf([&] { eeprom.RefreshMirror(); }), EIO);
    EXPECT_EQ(eeprom.Mirror(2048), Bytes(2048, 0x33));
}

TEST_F(RefreshMirror, OfADeviceShorterThanItsSizeThrows)
{
    eeprom.size = 17;
    EXPECT_EQ(MessageOf<std::logic_error>([&] { eeprom.RefreshMirror(); }),
              "Error reading from file descriptor. No bytes read:");
}

TEST_F(IsCrcValid, ComparesTheMirrorsRecordWithTheBigEndianWordAfterIt)
{
    eeprom.crcPos = 9;
    memcpy(eeprom.mirror.data(), "123456789\xCB\xF4\x39\x26", 13);
    EXPECT_TRUE(eeprom.IsCrcValid());
    for (size_t i = 0; i < 13; ++i) {
        eeprom.mirror[i] ^= 0x80;
        EXPECT_FALSE(eeprom.IsCrcValid()) << "byte " << i;
        eeprom.mirror[i] ^= 0x80;
    }
    eeprom.mirror[13] ^= 0x80;
    EXPECT_TRUE(eeprom.IsCrcValid());
}

TEST_F(IsCrcValid, OfAnEmptyRecordIsWhetherTheStoredBytesAreZero)
{
    eeprom.crcPos = 0;
    EXPECT_TRUE(eeprom.IsCrcValid());
    eeprom.mirror[3] = 1;
    EXPECT_FALSE(eeprom.IsCrcValid());
}

TEST_F(RewriteCrc, StoresTheCrcOfTheDeviceBigEndianAndLeavesTheMirror)
{
    device.Overwrite(0, BytesOf("12345678"));
    eeprom.RewriteCrc();
    // The published CRC-32 of "12345678".
    EXPECT_EQ(device.Contents(),
              BytesOf("12345678") + Bytes({0x9A, 0xE0, 0xDA, 0xAF}) + Bytes(4, 0x11));
    EXPECT_EQ(eeprom.Mirror(16), Bytes(16, 0));
}

// On a socket every seek fails, and the transfers do not.
TEST(RewriteCrcFailure, OfTheSeeksIsIgnoredWhereTheTransfersSucceed)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    TestEeprom eeprom;
    eeprom.fd = ends[0];
    eeprom.size = 9;
    eeprom.crcPos = 9;
    WriteLoop(ends[1], "123456789", 9);
    eeprom.RewriteCrc();
    Bytes crc(4, 0);
    ReadLoop(ends[1], crc.data(), crc.size());
    close(ends[1]);
    EXPECT_EQ(crc, Bytes({0xCB, 0xF4, 0x39, 0x26}));
}

TEST_F(WriteField, ChangesTheFieldStoresTheCrcReloadsTheMirrorAndReturnsZero)
{
    EXPECT_EQ(eeprom.WriteField(2, "abc", 3), 0);
    EXPECT_EQ(device.Contents(), Bytes({0x11, 0x11, 'a', 'b', 'c', 0x11, 0x11, 0x11}) +
                                     ExpectedCrc() + Bytes(4, 0x11));
    EXPECT_EQ(eeprom.Mirror(16), device.Contents());
    EXPECT_TRUE(eeprom.IsCrcValid());
}

TEST_F(WriteField, OfAnAbsentFieldReturnsMinusOneEvenIfItWouldOverflow)
{
    EXPECT_EQ(eeprom.WriteField(kNoField, "x", 1), -1);
    EXPECT_EQ(eeprom.WriteField(kNoField, "x", 1000), -1);
    EXPECT_EQ(device.Contents(), Bytes(16, 0x11));
}

TEST_F(WriteField, UpToTheLastByteOfTheDeviceSucceeds)
{
    EXPECT_EQ(eeprom.WriteField(14, "yz", 2), 0);
    EXPECT_EQ(device.Contents(14, 2), BytesOf("yz"));
}

TEST_F(WriteField, BeyondTheDeviceThrowsBeforeTouchingIt)
{
    EXPECT_EQ(MessageOf<std::logic_error>([&] { eeprom.WriteField(14, "xyz", 3); }),
              "Write overflow");
    EXPECT_EQ(MessageOf<std::logic_error>([&] { eeprom.WriteField(17, "", 0); }), "Write overflow");
    EXPECT_EQ(device.Contents(), Bytes(16, 0x11));
}

TEST_F(WriteField, OfNoBytesStillStoresTheCrcAndReloadsTheMirror)
{
    EXPECT_EQ(eeprom.WriteField(16, nullptr, 0), 0);
    EXPECT_EQ(device.Contents(), Bytes(8, 0x11) + ExpectedCrc() + Bytes(4, 0x11));
    EXPECT_EQ(eeprom.Mirror(16), device.Contents());
}

TEST_F(WriteField, AtANegativePositionThatWrapsTheBoundFailsInTheSeek)
{
    EXPECT_EQ(ErrnoOf([&] { eeprom.WriteField(-2, "ab", 2); }), EINVAL);
    EXPECT_EQ(ErrnoOf([&] { eeprom.WriteField(-2, "abc", 3); }), EINVAL);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { eeprom.WriteField(-2, "a", 1); }),
              "Write overflow");
    EXPECT_EQ(device.Contents(), Bytes(16, 0x11));
}

TEST(WriteFieldCapacity, OfADeviceLargerThanTheMirrorIsRefusedAfterTheWrite)
{
    const TemporaryDevice device(Bytes(65536, 0x11));
    TestEeprom eeprom(device.Path(), 65536, 8);
    const Bytes field(60000, 'x');
    EXPECT_EQ(MessageOf<std::logic_error>([&] { eeprom.WriteField(100, field.data(), 60000); }),
              "Mirror size is not big enough ");
    EXPECT_EQ(device.Contents(100, 60000), field);
    EXPECT_NE(device.Contents(8, 4), Bytes(4, 0x11));
    EXPECT_EQ(eeprom.Mirror(2049), Bytes(2049, 0));
}

TEST(WriteFieldProtected, ThrowsOnTheFirstDifferenceAndLeavesTheMirror)
{
    TestEeprom eeprom(kProtectedDevice, 16, 8);
    eeprom.mirror.fill(0x33);
    EXPECT_EQ(MessageOf<std::logic_error>([&] { eeprom.WriteField(2, "\0\0x", 3); }), kVerifyText);
    EXPECT_EQ(eeprom.Mirror(2048), Bytes(2048, 0x33));
}

TEST(WriteFieldProtected, OfTheBytesThatAreThereAlreadyIsNotNoticed)
{
    TestEeprom eeprom(kProtectedDevice, 16, 8);
    EXPECT_EQ(eeprom.WriteField(2, "\0\0", 2), 0);
}

// The calls of a field write: write, read back; read all, write the CRC; read all into the mirror.
TEST_F(WriteField, ThatFailsInAnyCallThrowsItsErrorAndLeavesTheMirror)
{
    eeprom.mirror.fill(0x33);
    const auto fieldWritten = [this](Call call, long passing) {
        device.Overwrite(0, Bytes(16, 0x11));
        const FailingCalls calls(call, passing, 1, EIO);
        EXPECT_EQ(ErrnoOf([&] { eeprom.WriteField(2, "abc", 3); }), EIO);
        EXPECT_EQ(eeprom.Mirror(2048), Bytes(2048, 0x33));
        return Bytes{device.Contents()[2], device.Contents()[8]};
    };
    EXPECT_EQ(fieldWritten(Call::kWrite, 0), (Bytes{0x11, 0x11}));
    EXPECT_EQ(fieldWritten(Call::kRead, 0), (Bytes{'a', 0x11}));
    EXPECT_EQ(fieldWritten(Call::kRead, 1), (Bytes{'a', 0x11}));
    EXPECT_EQ(fieldWritten(Call::kWrite, 1), (Bytes{'a', 0x11}));
    EXPECT_EQ(fieldWritten(Call::kRead, 2), (Bytes{'a', ExpectedCrc()[0]}));
}

TEST(EraseFailure, OfAProtectedDeviceIsOneLineOnStandardErrorAndReturns)
{
    TestEeprom eeprom(kProtectedDevice, 16, 8);
    eeprom.mirror.fill(0x33);
    testing::internal::CaptureStderr();
    eeprom.Erase();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string(kVerifyText) + "\n");
    EXPECT_EQ(eeprom.Mirror(2048), Bytes(2048, 0x33));
}

TEST_F(SmallDevice, BareFormatWritesNothing)
{
    eeprom.Format(1);
    eeprom.Format(99);
    EXPECT_EQ(device.Contents(), Bytes(16, 0x11));
}
