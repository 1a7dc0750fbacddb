#include "MenuEntryTable.h"

#include "FieldText.h"

#include <string>

using vantorBoardSupport::DateField;
using vantorBoardSupport::ProductTypeFromText;
using vantorBoardSupport::ProductTypeToText;
using vantorBoardSupport::VaEeprom;

VaEeprom* eeprom = nullptr;
std::vector<Menuentry*>& menuEntries = *new std::vector<Menuentry*>;

namespace {

using Display = std::function<std::string()>;
using Action = std::function<void(std::string)>;

constexpr const char* kEraseWarning = "--ERASE ALL--";

void nothing(const std::string& /*text*/) {}

Menuentry& append(const char* name, const char* option, const Display& display,
                  const Action& action)
{
    menuEntries.push_back(new Menuentry(name, option, display, action));
    return *menuEntries.back();
}

void appendReadOnly(const char* name, const char* option, const Display& display)
{
    append(name, option, display, nothing).selectable = false;
}

void appendCommand(const char* name, const char* option, void (*run)())
{
    const auto display = [] { return kEraseWarning; };
    append(name, option, display, [run](const std::string& /*text*/) { run(); }).isCommand = true;
}

void appendMac(const char* name, const char* option, uint32_t index)
{
    const auto display = [index] { return eeprom->MacToText(index); };
    append(name, option, display,
           [index](const std::string& text) { eeprom->SetMacFromText(index, text); });
}

void appendDate(const char* name, const char* option, DateField field)
{
    const auto display = [field] { return eeprom->DateToText(field); };
    append(name, option, display,
           [field](const std::string& text) { eeprom->DateFromText(field, text); });
}

void appendText(const char* name, const char* option, std::string (VaEeprom::*read)() const,
                int32_t (VaEeprom::*write)(const std::string&))
{
    const auto display = [read] { return (eeprom->*read)(); };
    append(name, option, display, [write](const std::string& text) { (eeprom->*write)(text); });
}

} // namespace

// A refused value is not reported anywhere: the actions drop the status of their write.
void initMenu()
{
    // clang-format off
    appendReadOnly("FormatVersion",     "--version",        [] { return std::to_string(eeprom->ReadFormatVersion()); });
    appendMac     ("MAC1",              "--mac1",           0);
    appendMac     ("MAC2",              "--mac2",           1);
    appendMac     ("MAC3",              "--mac3",           2);
    appendMac     ("MAC4",              "--mac4",           3);
    appendDate    ("DateOfProduction",  "--productiondate", DateField::kProduction);
    appendDate    ("DateOfLastService", "--servicedate",    DateField::kLastService);
    append        ("ProductType",       "--type",           [] { return ProductTypeToText(eeprom->ReadProductType()); },
                  [](const std::string& text) { eeprom->WriteProductType(ProductTypeFromText(text)); });
    appendText    ("Hardware Rev",      "--hardware_rev",   &VaEeprom::GetHardwareRev, &VaEeprom::WriteHardwareRev);
    appendText    ("PCB Rev",           "--pcb_rev",        &VaEeprom::GetPcbRev, &VaEeprom::WritePcbRev);
    appendText    ("SerialNumber",      "--ser_num",        &VaEeprom::ReadSerialNumber, &VaEeprom::WriteSerialNumber);
    appendText    ("PCB SerialNumber",  "--pcb_ser_num",    &VaEeprom::GetPcbSerialNumber, &VaEeprom::WritePcbSerialNumber);
    appendReadOnly("Crc32",             "--crc",            [] { return std::to_string(eeprom->ReadStoredCrc()); });
    appendReadOnly("valid",             "--valid",          [] { return eeprom->IsCrcValid() ? "1" : "0"; });
    appendCommand ("Format_v2",         "--format_v2",      [] { eeprom->Format(2); });
    appendCommand ("Erase",             "--erase",          [] { eeprom->Erase(); });
    append        ("END",               "",                 [] { return ""; }, nothing);
    // clang-format on
}
