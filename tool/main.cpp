#include "CommandLine.h"
#include "MenuEntryTable.h"
#include "MenuScreen.h"
#include "StandardDescriptors.h"
#include "StandardOutput.h"
#include "TerminateHandler.h"

#include <cstdlib>

// Catches nothing: the terminate handler reports what gets here.
int main(int argc, char* argv[]) // NOLINT(bugprone-exception-escape)
{
    installTerminateHandler("kestrel", EXIT_FAILURE);
    openStandardDescriptors();
    eeprom = &vantorBoardSupport::VaEeprom::GetInstance();
    initMenu();
    if (argc <= 1) {
        runMenu();
        return 0;
    }
    const int status = runCommandLine(argc, argv);
    flushStandardOutput();
    return status;
}
