#pragma once

#include <cstdint>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

// A real file that stands for an EEPROM, removed again by the destructor.
class TemporaryDevice
{
public:
    explicit TemporaryDevice(const Bytes& contents);
    TemporaryDevice(const TemporaryDevice&) = delete;
    TemporaryDevice& operator=(const TemporaryDevice&) = delete;
    ~TemporaryDevice();

    const std::string& Path() const
    {
        return path;
    }

    // The whole file as it is now.
    Bytes Contents() const;
    Bytes Contents(uint32_t first, uint32_t count) const;

    // Changes bytes without those who have the file open knowing.
    void Overwrite(uint32_t first, const Bytes& bytes) const;

private:
    std::string path;
};

// The number of descriptors that this process has open.
size_t OpenDescriptors();

Bytes operator+(Bytes left, const Bytes& right);
Bytes BytesOf(const std::string& text);
