#pragma once

#include "BigEndian.h"
#include "EepromDate.h"

#include <array>
#include <cstdint>
#include <string>

namespace vantorBoardSupport {

// The position of a field that does not exist in the format version in force.
constexpr int32_t kNoField = -1;

// The largest device, in bytes.
constexpr uint32_t kMirrorCapacity = 2048;

// The width of the field SerialNumber, bytes.
constexpr uint32_t kSerialNumberLength = 13;

// The three characters of a revision, without terminator.
using Revision = std::array<char, 3>;

// One EEPROM, reached as a file through one descriptor that the object owns. All positions are
// byte offsets from the start of the device; every transfer seeks first.
//
// Every change of a field is verified by reading it back, followed by a new record CRC and a
// reload of the mirror. A transfer that fails leaves the descriptor open and the object usable.
// The device then holds whatever was transferred before the failure, possibly under the old CRC,
// and the mirror is as it was after the last field write that succeeded, or partly reloaded if
// the reload itself failed.
//
// Device failures are thrown as std::system_error (seek, read, write) or std::logic_error (open,
// end of the device, nothing written); DescriptorIo.h has the details.
class Eeprom
{
public:
    Eeprom() = default;
    Eeprom(const Eeprom&) = delete;
    Eeprom& operator=(const Eeprom&) = delete;

    // Closes the descriptor if it is greater than 0: descriptor 0 counts as not open.
    virtual ~Eeprom();

    // Writes a fresh record of the given version. A bare device has no record format: nothing
    // happens.
    virtual void Format(uint32_t version);

    void SetPath(const std::string& devicePath);

    // Opens the path for reading and writing and returns the descriptor. A failure throws
    // std::logic_error and leaves the object with descriptor -1.
    int Open();

    // Closes the descriptor if it is greater than 0, opens the path again and reloads the
    // mirror. The layout in force stays. The object is unusable if opening fails, until a later
    // Reopen succeeds.
    void Reopen();

    // The big-endian word at versionPos, read from the device; 0xFFFF if it cannot be read.
    // Never throws, prints nothing.
    uint16_t ReadFormatVersion() const;

    // Loads the mirror from the device, size bytes from position 0. Throws std::logic_error
    // before any device access if size exceeds kMirrorCapacity.
    void RefreshMirror();

    // Whether the CRC stored in the mirror is that of the mirror's record. No device access.
    bool IsCrcValid() const;

    // Stores the CRC of what the device holds now, 4 bytes, big-endian, at crcPos. The CRC is
    // neither read back nor brought into the mirror.
    void RewriteCrc();

    // Writes length bytes at position, reads them back, stores the new CRC, reloads the mirror.
    // Returns 0, or -1 at once if position is kNoField. Throws std::logic_error if the field
    // does not fit the device (nothing is written then) or reads back differently (a
    // write-protected part accepts a write and keeps its contents).
    int32_t WriteField(int32_t position, const void* data, uint32_t length);

    // WriteField of the number's bytes, big-endian.
    template <typename Unsigned> int32_t WriteNumber(int32_t position, Unsigned value)
    {
        const auto bytes = StoreBigEndian(value);
        return WriteField(position, bytes.data(), bytes.size());
    }

    // Sets every byte of the device to 0xFF and verifies it. Does not throw; prints the failure
    // as a line on standard error. The CRC is not rewritten; mirror and layout stay as they are.
    void Erase();

    // The typed writes below return 0 when the field was written, and -1, silently and with
    // nothing written, when the value was refused or the field is absent. They throw what
    // WriteField throws.

    int32_t WriteRev(int32_t position, const Revision& revision);
    int32_t WriteDate(int32_t position, EepromDate date);

    // The text must have exactly 3 characters.
    int32_t WriteHardwareRev(const std::string& text);
    int32_t WritePcbRev(const std::string& text);

    // Dates from 2013 to 2099, each part no greater than its largest possible value: month and
    // day 0 and a 31st of February pass.
    int32_t WriteProductionDate(EepromDate date);
    int32_t WriteServiceDate(EepromDate date);

    int32_t WriteProductType(uint16_t productType);
    int32_t WriteBlock8(const std::array<uint8_t, 8>& block);

    // At most pcbSerialMaxLen and 13 characters. The whole field is cleared by a write of its
    // own first, so a failure of the second write leaves the field cleared or partly written,
    // and the mirror shows it cleared.
    int32_t WritePcbSerialNumber(const std::string& text);
    int32_t WriteSerialNumber(const std::string& text);

protected:
    std::string path;
    int32_t fd = -1;

    // One byte more than a device can have: a checked read may go one byte past the end.
    std::array<uint8_t, kMirrorCapacity + 1> mirror{};

    uint32_t formatVersion = 0;
    uint32_t size = 0; // bytes, at most kMirrorCapacity
    int32_t versionPos = 0;
    uint32_t patternPos = 0;
    int32_t productionDatePos = 0;
    int32_t serviceDatePos = 0;
    int32_t productTypePos = 0;
    int32_t hardwareRevPos = 0;
    int32_t pcbRevPos = 0;
    int32_t pcbSerialPos = 0;
    int32_t serialPos = 0;
    uint32_t crcPos = 0; // also the number of bytes that the CRC covers
    int32_t block8Pos = 0;
    uint32_t pcbSerialMaxLen = 12;

private:
    void ReopenHook();
    int32_t WriteRevText(int32_t position, const std::string& text);
    void WriteVerified(int32_t position, const void* data, uint32_t length);
    int32_t WritePadded(int32_t position, uint32_t width, const std::string& text);
};

} // namespace vantorBoardSupport
