// Prints the program's own tables as one JSON object, which tests and pictures are held against:
// the entries, the special words, and for each format version the fields by position with what
// formatting puts into them.

#include "CommandLine.h"
#include "MenuEntryTable.h"
#include "TestRecord.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

using namespace vantorBoardSupport;

namespace {

struct Field
{
    int32_t position;
    size_t length;
    std::string name;
    std::string encoding;
    std::string member; // of VaEeprom, its position
};

std::vector<Field> FieldsOf(const TestRecord& record)
{
    const auto crcPos = static_cast<int32_t>(record.crcPos);
    const auto patternPos = static_cast<int32_t>(record.patternPos);
    std::vector<Field> fields = {
        {record.versionPos, 2, "FormatVersion", "number", "versionPos"},
        {patternPos, 6, "FormatPattern", "text", "patternPos"},
        {record.productionDatePos, 7, "DateOfProduction", "date", "productionDatePos"},
        {record.serviceDatePos, 7, "DateOfLastService", "date", "serviceDatePos"},
        {record.productTypePos, 2, "ProductType", "number", "productTypePos"},
        {record.hardwareRevPos, 3, "Hardware Rev", "text", "hardwareRevPos"},
        {record.pcbRevPos, 3, "PCB Rev", "text", "pcbRevPos"},
        {record.pcbSerialPos, record.pcbSerialMaxLen, "PCB SerialNumber", "text", "pcbSerialPos"},
        {record.serialPos, kSerialNumberLength, "SerialNumber", "text", "serialPos"},
        {record.entityIdPos, 8, "EntityId", "number", "entityIdPos"},
        {record.entityModelIdPos, 8, "EntityModelId", "number", "entityModelIdPos"},
        {record.ariPos, 4, "ARI (DECT ID)", "number", "ariPos"},
        {crcPos, 4, "Crc32", "number", "crcPos"},
        {record.block8Pos, 8, "8-byte block", "bytes", "block8Pos"},
    };
    constexpr const char* kMacNames[] = {"MAC0", "MAC1",          "MAC2",
                                         "MAC3", "MAC USB local", "MAC USB host"};
    for (size_t i = 0; i < record.macPos.size(); ++i)
        fields.push_back({record.macPos[i], sizeof(MacAddress), kMacNames[i], "bytes", "macPos"});
    for (size_t i = 0; i < record.aioCalibrationPos.size(); ++i) {
        fields.push_back({record.aioCalibrationPos[i], 4, "AioCalibration " + std::to_string(i),
                          "signed number", "aioCalibrationPos"});
    }

    const auto absent = [](const Field& field) { return field.position == kNoField; };
    fields.erase(std::remove_if(fields.begin(), fields.end(), absent), fields.end());
    const auto byPosition = [](const Field& a, const Field& b) { return a.position < b.position; };
    std::sort(fields.begin(), fields.end(), byPosition);
    return fields;
}

// No text of the tables needs an escape.
std::string Quoted(const std::string& text)
{
    return '"' + text + '"';
}

std::string Hex(const Bytes& bytes)
{
    std::string hex;
    for (const uint8_t byte : bytes) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02x", byte);
        hex += digits;
    }
    return hex;
}

std::string Joined(const std::vector<std::string>& parts)
{
    std::string joined;
    for (const std::string& part : parts)
        joined += (joined.empty() ? "\n    " : ",\n    ") + part;
    return joined;
}

const char* KindOf(const Menuentry& entry)
{
    if (entry.isCommand)
        return "command";
    if (!entry.selectable)
        return "read only";
    return entry.option.empty() ? "end" : "value";
}

std::string Entries()
{
    std::vector<std::string> entries;
    for (const Menuentry* entry : menuEntries) {
        entries.push_back("{\"name\": " + Quoted(entry->name) + ", \"option\": " +
                          Quoted(entry->option) + ", \"kind\": " + Quoted(KindOf(*entry)) + "}");
    }
    return Joined(entries);
}

std::string SpecialWords()
{
    std::vector<std::string> words;
    for (const SpecialWord& special : specialWords)
        words.push_back(Quoted(special.word));
    return Joined(words);
}

std::string VersionOf(const TestRecord& record, const Bytes& formatted)
{
    std::vector<std::string> fields;
    for (const Field& field : FieldsOf(record)) {
        const auto first = formatted.begin() + field.position;
        const Bytes bytes(first, first + static_cast<ptrdiff_t>(field.length));
        fields.push_back("{\"name\": " + Quoted(field.name) +
                         ", \"position\": " + std::to_string(field.position) +
                         ", \"length\": " + std::to_string(field.length) + ", \"encoding\": " +
                         Quoted(field.encoding) + ", \"member\": " + Quoted(field.member) +
                         ", \"formatted\": " + Quoted(Hex(bytes)) + "}");
    }
    return "{\"size\": " + std::to_string(record.size) +
           ", \"crc_position\": " + std::to_string(record.crcPos) + ", \"fields\": [" +
           Joined(fields) + "]}";
}

// The number of bytes from the start of a part that formatting does not leave as they were.
size_t FormattedEnd(const Bytes& formatted, uint8_t filler)
{
    const auto last = std::find_if(formatted.rbegin(), formatted.rend(),
                                   [filler](uint8_t byte) { return byte != filler; });
    return static_cast<size_t>(formatted.rend() - last);
}

} // namespace

int main()
{
    constexpr uint8_t kFiller = 0xAB;
    std::vector<std::string> versions;
    std::vector<std::string> ends;
    for (const uint32_t version : {1U, 2U}) {
        RecordOnDevice part(Bytes(kMirrorCapacity, kFiller));
        part.record.Format(version);
        const Bytes formatted = part.device.Contents();
        const std::string key = Quoted(std::to_string(version)) + ": ";
        versions.push_back(key + VersionOf(part.record, formatted));
        ends.push_back(key + std::to_string(FormattedEnd(formatted, kFiller)));
    }
    initMenu();
    std::cout << "{\"entries\": [" << Entries() << "],\n\"special_words\": [" << SpecialWords()
              << "],\n\"versions\": {" << Joined(versions) << "},\n\"formatted_end\": {"
              << Joined(ends) << "},\n\"user_bytes\": {\"position\": " << VaEeprom::kUserBytesPos
              << ", \"length\": " << VaEeprom::kUserByteCount << "}}\n";
}
