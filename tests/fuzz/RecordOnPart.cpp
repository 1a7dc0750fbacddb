#include "RecordOnPart.h"

#include "CapturedFiles.h"
#include "Commands.h"
#include "Expect.h"
#include "StrictJson.h"
#include "TextRules.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace {

using Values = std::vector<std::pair<std::string, std::string>>;

uint64_t VersionWord(const RecordModel& model)
{
    return static_cast<uint64_t>(model.Contents()[0]) << 8 | model.Contents()[1];
}

bool IsIntact(const RecordModel& model)
{
    const Bytes& contents = model.Contents();
    const uint64_t word = VersionWord(model);
    if (word != 1 && (word != 2 || contents.size() != 2048))
        return false;
    return model.IsIntact() && std::equal(&contents[2], &contents[8], "Vantor");
}

// As a document has them: the bytes from 0x80 on are characters of their own.
std::string Utf8(const std::string& bytes)
{
    std::string text;
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        if (code >= 0x80)
            text += static_cast<char>(0xC0U | code >> 6);
        text += static_cast<char>(code >= 0x80 ? 0x80U | (code & 0x3FU) : code);
    }
    return text;
}

std::string Hex(const Bytes& contents, const Field& field)
{
    std::string text;
    for (size_t i = 0; i < field.length; ++i)
        text += Digits(contents[field.first + i], 16, 2);
    return text;
}

std::string Mac(const Bytes& contents, const Field& field)
{
    Octets octets{};
    std::copy_n(&contents[field.first], octets.size(), octets.begin());
    return ExpectedMacText(octets);
}

std::string Calibrations(const RecordModel& model)
{
    std::string all;
    for (const Field& field : model.Layout().calibrations) {
        const std::string hex = Hex(model.Contents(), field);
        const auto tenths = static_cast<int32_t>(std::stoul(hex, nullptr, 16));
        all += std::to_string(tenths / 10.0) + " ";
    }
    return all;
}

Values ExpectedValues(const RecordModel& model)
{
    const Bytes& contents = model.Contents();
    const Fields& layout = model.Layout();
    const bool isVersion2 = VersionWord(model) == 2;
    Values values = {{"version", isVersion2 ? "2" : "1"}};
    const auto addShown = [&](const std::string& key) {
        values.emplace_back(key, Utf8(model.Display("--" + key)));
    };
    for (const char* key : {"mac1", "mac2", "mac3", "mac4"})
        addShown(key);
    if (isVersion2) {
        values.emplace_back("usb_local_mac", Mac(contents, layout.macs[4]));
        values.emplace_back("usb_host_mac", Mac(contents, layout.macs[5]));
    }
    for (const char* key : {"productiondate", "servicedate", "type", "hardware_rev", "pcb_rev",
                            "pcb_ser_num", "ser_num"})
        addShown(key);
    values.emplace_back("entity_id", "0x" + Hex(contents, layout.entityId));
    values.emplace_back("entity_model_id", "0x" + Hex(contents, layout.modelId));
    if (isVersion2) {
        values.emplace_back("ari", "0x" + Hex(contents, layout.ari));
        values.emplace_back("aio_calibration", Calibrations(model));
    } else {
        values.emplace_back("block8", Hex(contents, {120, 8}));
    }
    return values;
}

std::string TextOf(const Json& value)
{
    if (!value.is_array())
        return value.is_string() ? value.get<std::string>() : value.dump();
    std::string text;
    for (const Json& element : value)
        text += std::to_string(element.get<double>()) + " ";
    return text;
}

bool IsShown(char character)
{
    return character == '\n' || (character >= 0x20 && character <= 0x7e);
}

Values ValuesOf(const std::string& output)
{
    Expect(std::all_of(output.begin(), output.end(), IsShown), "a document is printable");
    const Json document = ParseJson(output);
    Expect(document.is_object(), "a document comes out");
    Values values;
    for (const auto& [key, value] : document.items())
        values.emplace_back(key, TextOf(value));
    return values;
}

} // namespace

void CheckWholeRead(const MemoryPart& part, const RecordModel& model)
{
    kestrelRecord::Options options;
    options.device = part.Path();
    CapturedFiles files;
    const int status = kestrelRecord::findCommand("read")->run(options);
    const auto [output, messages] = files.Take();

    const bool intact = IsIntact(model);
    Expect(status == (intact ? 0 : 6), "the status of a whole read");
    Expect(messages.empty() == intact, "a message of a whole read that is refused");
    if (intact)
        Expect(ValuesOf(output) == ExpectedValues(model), "the values of a whole read");
    else
        Expect(output.empty(), "no value of a record that is not intact");
}
