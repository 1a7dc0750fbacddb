#pragma once

#include "TemporaryDevice.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

struct Field
{
    size_t first = 0;
    size_t length = 0; // 0: the version does not have it
};

struct Fields
{
    std::array<Field, 6> macs;
    std::array<Field, 2> dates;
    Field type, hardwareRev, pcbRev, pcbSerial, serial, entityId, modelId;
    std::array<Field, 8> calibrations;
    Field ari;
    Field crc;
};

// What has to be shown of a part and how it has to change, worked out from its bytes alone. Knows
// nothing of the product's code.
class RecordModel
{
public:
    enum class Written
    {
        kDone, // also where the value is refused
        kTooShort,
    };

    explicit RecordModel(const Bytes& partContents);

    bool IsLoadable() const;
    bool IsIntact() const;
    size_t Size() const; // of a part with a record of this version

    // Of the element with this option.
    std::string Display(const std::string& option) const;
    std::string DisplayMessages(const std::string& option) const;
    Written Write(const std::string& option, const std::string& value);

    std::string Dump() const;
    std::string DumpMessages() const;

    void Format(const Bytes& formatted);
    void Erase();
    void StoreCrc();

    const Bytes& Contents() const
    {
        return contents;
    }

    const Fields& Layout() const
    {
        return fields;
    }

private:
    uint64_t Number(const Field& field) const;
    uint64_t Number(const Field& field, uint64_t failureValue) const;
    std::string Hex(const Field& field, uint64_t failureValue) const;
    std::string Mac(size_t index) const;
    std::string UsbMac(size_t index, const char* fallback) const;
    std::string Date(size_t index) const;
    std::string Text(const Field& field, const char* failureValue) const;
    std::string Calibration(size_t index) const;
    std::string DumpHead() const;
    bool IsReadable(const Field& field) const;
    std::string GuardedDisplay(const std::string& option) const;
    const Field* TextField(const std::string& option) const;
    void Store(const Field& field, Bytes bytes);
    Written WriteDate(const Field& field, const std::string& value);

    Bytes contents;
    bool isVersion1;
    Fields fields;
};
