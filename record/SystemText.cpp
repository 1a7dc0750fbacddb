#include "SystemText.h"

#include <cerrno>
#include <system_error>

namespace kestrelRecord {

std::string lastSystemText()
{
    return std::system_category().message(errno);
}

} // namespace kestrelRecord
