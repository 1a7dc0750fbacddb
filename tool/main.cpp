#include "CommandLine.h"
#include "MenuEntryTable.h"
#include "StandardDescriptors.h"
#include "TerminateHandler.h"

#include <stdexcept>

// Catches nothing: the terminate handler reports what gets here.
int main(int argc, char* argv[]) // NOLINT(bugprone-exception-escape)
{
    installTerminateHandler("kestrel");
    openStandardDescriptors();
    eeprom = &vantorBoardSupport::VaEeprom::GetInstance();
    initMenu();
    if (argc <= 1)
        throw std::logic_error("the menu is not there yet; try kestrel --help");
    return runCommandLine(argc, argv);
}
