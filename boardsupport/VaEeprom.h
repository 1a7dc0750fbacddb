#pragma once

#include "Eeprom.h"
#include "FieldText.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace vantorBoardSupport {

enum class DateField
{
    kProduction,
    kLastService,
};

// The board's product record in its EEPROM. Record byte 0 is device byte 0; VaEepromLayout.cpp
// says where the fields lie in each format version. Their lengths in bytes, and their encodings:
//
//   FormatVersion             2  number
//   FormatPattern             6  "Vantor"
//   MAC 0 to 3                6  first octet first; 2 unused bytes after each
//   MAC USB local, host       6  likewise (entries 4 and 5 of macPos)
//   dates                     7  EepromDate
//   ProductType               2  number
//   Hardware Rev, PCB Rev     3  text
//   PCB SerialNumber      12/36  text (pcbSerialMaxLen)
//   SerialNumber             13  text
//   EntityId, EntityModelId   8  number
//   AioCalibration 0 to 7     4  signed number, tenths of a decibel
//   ARI (DECT ID)             4  number
//   Crc32                     4  number; covers the crcPos bytes before it
//   8-byte block              8  raw bytes, after the CRC and not covered by it
//
// Numbers are big-endian. Texts are ASCII, zero-padded, without terminator when they fill their
// field.
//
// Every read takes its bytes from the mirror, after computing the record's CRC afresh. A read
// never throws: when the CRC does not match ("CRC invalid"), or the field reaches more than one
// byte past the end of the device, it prints the reason on standard error as a line and returns
// the failure value named with it. A field that is absent from the format version in force gives
// the same value without a message and without a CRC check.
//
// Every write returns 0 when done, or -1, silently and with nothing written, when the value is
// refused or the field is absent. Writes throw what Eeprom::WriteField throws.
class VaEeprom : public Eeprom
{
public:
    static constexpr const char* kDevicePath = "/sys/bus/i2c/devices/0-0050/eeprom";

    static constexpr uint32_t kMacCount = 6; // MAC 0 to 3, USB local, USB host
    static constexpr uint32_t kAioCalibrationCount = 8;

    // How many bytes formatting version 2 clears. The rest of the device is left alone.
    static constexpr uint32_t kVersion2HeaderLength = 255;

    // Outside of the record, and on a 2048-byte device only.
    static constexpr int32_t kUserBytesPos = 1792;
    static constexpr uint32_t kUserByteCount = 256;

    // The one record on the board, built on the first call and closed when the program exits. A
    // call whose construction throws leaves nothing open, and the next call tries again.
    static VaEeprom& GetInstance();

    // Opens the device, takes the layout from its format version word and loads the mirror. Throws
    // std::logic_error if the device cannot be opened, and what RefreshMirror throws: a device
    // that is shorter than its layout cannot be used.
    explicit VaEeprom(const std::string& devicePath = kDevicePath);

    // Fills the position table for version 1 if version is 1, and for version 2 otherwise: a blank
    // or unknown record can be read, dumped and formatted like one of version 2. versionPos,
    // patternPos, entry 0 of macPos and sparePos are the same in both and stay. The device is not
    // touched.
    void SelectLayout(uint32_t version);

    // Writes a fresh record of version 1 or 2 with default values. Throws std::logic_error for
    // another version, with nothing changed. Otherwise the layout of the version is in force from
    // here on, also when a write fails and throws; the fields written before stay. Version 2
    // leaves the bytes from 255 on as they were, version 1 those from 128 on.
    void Format(uint32_t version) override;

    // Not supported: always fails an assertion.
    void PeriodicCheck(int32_t);

    // Prints the whole record on standard output, 28 labelled lines and an empty one. Standard
    // output prints integers in hexadecimal from then on.
    void DumpRecord() const;

    // The board test: 0 lists the submodes on standard output, 1 dumps the record, 2 runs
    // EepromTest. Throws std::logic_error for any other number, with nothing printed.
    void RunI2cSubmode(int32_t submode) const;

    // Reads every field 10000 times from the mirror, with a pause of a millisecond after each
    // pass, and counts the passes down on standard output. Only the end of the process stops it.
    void EepromTest() const;

    // Reads of any field: 0, or -1 on failure. Bytes copied before a failure stay.
    int32_t ReadBytes(int32_t position, void* destination, uint32_t count) const;
    int32_t ReadRev(int32_t position, Revision& revision) const;
    int32_t ReadDate(int32_t position, EepromDate& date) const;
    int32_t ReadField8(std::array<uint8_t, 8>& block) const;

    // The big-endian number at position; nothing on failure.
    template <typename Unsigned> std::optional<Unsigned> ReadNumber(int32_t position) const
    {
        std::array<uint8_t, sizeof(Unsigned)> bytes{};
        if (ReadBytes(position, bytes.data(), bytes.size()) == -1)
            return std::nullopt;
        return LoadBigEndian<Unsigned>(bytes.data());
    }

    // Texts end at the first zero byte of their field.
    std::string ReadPattern() const;      // empty on failure
    std::string ReadSerialNumber() const; // "0000000000000" on failure
    uint16_t ReadProductType() const;     // 0xFFFF on failure
    uint32_t ReadStoredCrc() const;       // 0 on failure

    std::string GetHardwareRev() const;     // "000" on failure
    std::string GetPcbRev() const;          // "000" on failure
    std::string GetPcbSerialNumber() const; // "0" on failure

    // 0, or -1 and a date of zeros on failure.
    int32_t GetDateOfProduction(EepromDate& date) const;
    int32_t GetDateOfLastService(EepromDate& date) const;

    // MACs by index, as FieldText.h has them; all zero on failure and for an index above 5.
    // Setting refuses such an index, and a text that is not a MAC.
    MacAddress GetMacBytes(uint32_t index) const;
    std::string MacToText(uint32_t index) const;
    int32_t SetMacFromText(uint32_t index, const std::string& text);

    // A MAC of zeros, and so a failed read too, is shown as "02:a5:5e:00:00:01" (local) and
    // "02:a5:5e:00:00:02" (host).
    std::string GetUsbLocalMac() const;
    std::string GetUsbHostMac() const;
    int32_t SetUsbLocalMac(const std::string& text);
    int32_t SetUsbHostMac(const std::string& text);

    // A failed read is shown with all digits zero. Setting throws std::out_of_range for a text too
    // short to hold a date, with nothing written.
    std::string DateToText(DateField field) const;
    int32_t DateFromText(DateField field, const std::string& text);

    uint64_t GetEntityId() const;      // 0x00000000FFFFFFFF on failure
    uint64_t GetEntityModelId() const; // 0xFFFFFFFFFFFFFFFF on failure
    int32_t SetEntityId(uint64_t id);
    int32_t SetEntityModelId(uint64_t id);
    std::string EntityIdToText() const;
    std::string EntityModelIdToText() const;

    // The DECT access rights identity. Setting takes 0x105C8000 to 0x105C8FFF only.
    int32_t GetAri() const; // 0xDEC11D on failure
    int32_t SetAri(int32_t ari);

    // Tenths of a decibel. Setting refuses an index above 7 and values outside -50 to 50.
    int32_t GetAioCalibration(uint32_t index) const; // 1 on failure, 0 for an index above 7
    int32_t SetAioCalibration(uint32_t index, int32_t tenths);

    // An index above 255 reads as 0, like a failed read, and writes nothing.
    uint8_t GetUserByte(uint32_t index) const;
    void SetUserByte(uint32_t index, uint8_t value);

protected:
    int32_t entityIdPos = 0;
    int32_t entityModelIdPos = 0;
    std::array<int32_t, kMacCount> macPos{};
    std::array<int32_t, kAioCalibrationCount> aioCalibrationPos{};
    int32_t ariPos = 0;
    int32_t sparePos = kNoField; // held for a further field

private:
    void ReadEveryField() const;
    int32_t ReadDateOrZero(int32_t position, EepromDate& date) const;
    bool CopyFromMirror(int32_t position, uint8_t* destination, uint32_t count) const;
    std::string ReadText(int32_t position, uint32_t width, const char* failureValue) const;
    std::string GetUsbMac(uint32_t index, const char* fallback) const;
};

} // namespace vantorBoardSupport
