// Prints the fields of the product record in both format versions, one a line: version, bytes of
// the part, position, length, kind and name, with tabs between them. script/record-picture draws
// docs/record.svg from it.

#include "Eeprom.h"
#include "FieldText.h"
#include "RecordLayout.h"

#include <iostream>
#include <string>

using namespace vantorBoardSupport;

namespace {

void PrintFieldsOf(const RecordLayout& layout)
{
    // All members by name: one more in the layout does not compile before it is printed here.
    const auto& [formatVersion, size, productionDatePos, serviceDatePos, productTypePos,
                 hardwareRevPos, pcbRevPos, pcbSerialPos, serialPos, crcPos, block8Pos,
                 pcbSerialMaxLen, entityIdPos, entityModelIdPos, macPos, aioCalibrationPos,
                 ariPos] = layout;

    const auto print = [&layout](int64_t position, size_t length, const char* kind,
                                 const std::string& name) {
        if (position != kNoField)
            std::cout << layout.formatVersion << '\t' << layout.size << '\t' << position << '\t'
                      << length << '\t' << kind << '\t' << name << '\n';
    };
    print(kVersionPos, 2, "number", "FormatVersion");
    print(kPatternPos, 6, "text", "FormatPattern");
    const char* const macNames[] = {"MAC0", "MAC1",          "MAC2",
                                    "MAC3", "MAC USB local", "MAC USB host"};
    for (size_t i = 0; i < macPos.size(); ++i)
        print(macPos[i], sizeof(MacAddress), "MAC address", macNames[i]);
    print(productionDatePos, sizeof(EepromDate), "date", "DateOfProduction");
    print(serviceDatePos, sizeof(EepromDate), "date", "DateOfLastService");
    print(productTypePos, 2, "number", "ProductType");
    print(hardwareRevPos, sizeof(Revision), "text", "Hardware Rev");
    print(pcbRevPos, sizeof(Revision), "text", "PCB Rev");
    print(pcbSerialPos, pcbSerialMaxLen, "text", "PCB SerialNumber");
    print(serialPos, 13, "text", "SerialNumber");
    print(entityIdPos, 8, "number", "EntityId");
    print(entityModelIdPos, 8, "number", "EntityModelId");
    for (size_t i = 0; i < aioCalibrationPos.size(); ++i)
        print(aioCalibrationPos[i], 4, "number", "AioCalibration " + std::to_string(i));
    print(ariPos, 4, "number", "ARI (DECT ID)");
    print(crcPos, 4, "CRC", "Crc32");
    print(block8Pos, 8, "raw bytes", "8-byte block");
}

} // namespace

int main()
{
    PrintFieldsOf(LayoutOf(1));
    PrintFieldsOf(LayoutOf(2));
}
