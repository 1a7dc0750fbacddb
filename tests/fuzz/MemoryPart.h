#pragma once

#include "TemporaryDevice.h"

#include <cstddef>
#include <string>

// An EEPROM in memory, which keeps its size whatever is written.
class MemoryPart
{
public:
    explicit MemoryPart(size_t size);
    MemoryPart(const MemoryPart&) = delete;
    MemoryPart& operator=(const MemoryPart&) = delete;
    ~MemoryPart();

    // Where it can be opened like a device.
    std::string Path() const;

    void Overwrite(const Bytes& contents) const;
    Bytes Contents() const;

private:
    int fd;
    size_t size;
};
