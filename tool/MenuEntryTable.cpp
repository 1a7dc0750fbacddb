#include "MenuEntryTable.h"

#include "FieldText.h"

#include <string>

using vantorBoardSupport::DateField;

vantorBoardSupport::VaEeprom* eeprom = nullptr;
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

void appendCommand(const char* name, const char* option, const Action& action)
{
    append(
        name, option, [] { return kEraseWarning; }, action)
        .isCommand = true;
}

void appendMac(const char* name, const char* option, uint32_t index)
{
    append(
        name, option, [index] { return eeprom->MacToText(index); },
        [index](const std::string& text) { eeprom->SetMacFromText(index, text); });
}

void appendDate(const char* name, const char* option, DateField field)
{
    append(
        name, option, [field] { return eeprom->DateToText(field); },
        [field](const std::string& text) { eeprom->DateFromText(field, text); });
}

} // namespace

// A refused value is not reported anywhere: the actions drop the status of their write.
void initMenu()
{
    using vantorBoardSupport::ProductTypeFromText;
    using vantorBoardSupport::ProductTypeToText;

    appendReadOnly("FormatVersion", "--version",
                   [] { return std::to_string(eeprom->ReadFormatVersion()); });
    appendMac("MAC1", "--mac1", 0);
    appendMac("MAC2", "--mac2", 1);
    appendMac("MAC3", "--mac3", 2);
    appendMac("MAC4", "--mac4", 3);
    appendDate("DateOfProduction", "--productiondate", DateField::kProduction);
    appendDate("DateOfLastService", "--servicedate", DateField::kLastService);
    append(
        "ProductType", "--type", [] { return ProductTypeToText(eeprom->ReadProductType()); },
        [](const std::string& text) { eeprom->WriteProductType(ProductTypeFromText(text)); });
    append(
        "Hardware Rev", "--hardware_rev", [] { return eeprom->GetHardwareRev(); },
        [](const std::string& text) { eeprom->WriteHardwareRev(text); });
    append(
        "PCB Rev", "--pcb_rev", [] { return eeprom->GetPcbRev(); },
        [](const std::string& text) { eeprom->WritePcbRev(text); });
    append(
        "SerialNumber", "--ser_num", [] { return eeprom->ReadSerialNumber(); },
        [](const std::string& text) { eeprom->WriteSerialNumber(text); });
    append(
        "PCB SerialNumber", "--pcb_ser_num", [] { return eeprom->GetPcbSerialNumber(); },
        [](const std::string& text) { eeprom->WritePcbSerialNumber(text); });
    appendReadOnly("Crc32", "--crc", [] { return std::to_string(eeprom->ReadStoredCrc()); });
    appendReadOnly("valid", "--valid", [] { return eeprom->IsCrcValid() ? "1" : "0"; });
    appendCommand("Format_v2", "--format_v2", [](const std::string&) { eeprom->Format(2); });
    appendCommand("Erase", "--erase", [](const std::string&) { eeprom->Erase(); });
    append(
        "END", "", [] { return ""; }, nothing);
}
