#include "TemporaryDevice.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <unistd.h>

TemporaryDevice::TemporaryDevice(const Bytes& contents)
{
    std::string name = (std::filesystem::temp_directory_path() / "eeprom-XXXXXX").string();
    const int fd = mkstemp(name.data());
    if (fd < 0)
        throw std::runtime_error("no temporary file");
    close(fd);
    path = name;
    Overwrite(0, contents);
}

TemporaryDevice::~TemporaryDevice()
{
    std::filesystem::remove(path);
}

Bytes TemporaryDevice::Contents() const
{
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

Bytes TemporaryDevice::Contents(uint32_t first, uint32_t count) const
{
    const Bytes all = Contents();
    if (first + count > all.size())
        throw std::out_of_range("the device is shorter");
    return Bytes(all.begin() + first, all.begin() + first + count);
}

void TemporaryDevice::Overwrite(uint32_t first, const Bytes& bytes) const
{
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(first);
    for (const uint8_t byte : bytes)
        file.put(static_cast<char>(byte));
}

size_t OpenDescriptors()
{
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(descriptors), end(descriptors)));
}

Bytes operator+(Bytes left, const Bytes& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes BytesOf(const std::string& text)
{
    return Bytes(text.begin(), text.end());
}
