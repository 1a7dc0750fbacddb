#pragma once

#include <unistd.h>
#include <utility>

namespace kestrelRecord {

// Owns a file descriptor, or none (a negative number), and closes it.
class Descriptor
{
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor& operator=(Descriptor&&) = delete;

    ~Descriptor()
    {
        close();
    }

    int number() const
    {
        return fd_;
    }

    // Closes now. False, with errno, if the system reports a failure; the descriptor is gone
    // then, too.
    bool close()
    {
        const int fd = std::exchange(fd_, -1);
        return fd < 0 || ::close(fd) == 0;
    }

private:
    int fd_;
};

} // namespace kestrelRecord
