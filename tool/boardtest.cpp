#include "StandardDescriptors.h"
#include "StandardOutput.h"
#include "TerminateHandler.h"
#include "VaEeprom.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace {

bool parseSubmode(const char* text, int32_t& submode)
{
    const char* end = text + strlen(text);
    const auto [stop, error] = std::from_chars(text, end, submode);
    return error == std::errc() && stop == end;
}

} // namespace

// Catches nothing: the terminate handler reports what gets here.
int main(int argc, char* argv[]) // NOLINT(bugprone-exception-escape)
{
    installTerminateHandler("kestrel-boardtest", EXIT_FAILURE);
    openStandardDescriptors();

    int32_t submode = 0;
    if (argc != 2 || !parseSubmode(argv[1], submode)) {
        fputs("Usage: kestrel-boardtest SUBMODE     (a number; 0 lists the submodes)\n", stderr);
        return 255;
    }
    vantorBoardSupport::VaEeprom::GetInstance().RunI2cSubmode(submode);
    flushStandardOutput();
    return 0;
}
