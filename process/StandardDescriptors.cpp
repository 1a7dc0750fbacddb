#include "StandardDescriptors.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

void openStandardDescriptors()
{
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // open takes the lowest free number, which is fd once those below it are open.
        if (fcntl(fd, F_GETFD) == -1 && open("/dev/null", O_RDWR) == -1) {
            const int error = errno;
            throw std::system_error(error, std::system_category(), "Error opening /dev/null");
        }
    }
}
