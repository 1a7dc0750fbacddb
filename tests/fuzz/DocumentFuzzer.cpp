// Documents and settings: whether they are accepted, which keys are named as wrong, and what an
// image made of an accepted one shows.

#include "Document.h"
#include "Expect.h"
#include "ExpectedDocument.h"
#include "Failure.h"
#include "FieldTable.h"
#include "MemoryRecord.h"
#include "WritePlan.h"

#include <algorithm>
#include <array>

namespace {

using kestrelRecord::Document;
using kestrelRecord::MemoryRecord;
using Settings = ExpectedDocument::Settings;

struct Member
{
    const char* key;
    const char* value; // as JSON
};

// Of each rule something on both sides of its edges.
constexpr std::array<Member, 86> kMembers = {{
    {"version", "1"},
    {"version", "2"},
    {"version", "3"},
    {"version", "\"1\""},
    {"version", "1.0"},
    {"mac1", R"("02:a5:5e:12:34:01")"},
    {"mac2", R"("02:A5:5E:12:34:02")"},
    {"mac3", R"("00:00:00:00:00:00")"},
    {"mac4", R"("01:a5:5e:12:34:04")"},
    {"mac4", R"("02-a5-5e-12-34-04")"},
    {"usb_local_mac", R"("02:a5:5e:00:00:01")"},
    {"usb_host_mac", R"("02:a5:5e:00:00:02")"},
    {"usb_host_mac", R"("00:00:00:00:00:00")"},
    {"productiondate", R"("2026-11-15 10:42:16")"},
    {"productiondate", R"("2013-01-01 00:00:00")"},
    {"productiondate", R"("2012-12-31 23:59:59")"},
    {"productiondate", R"("2028-02-29 09:00:00")"},
    {"servicedate", R"("2099-12-31 23:59:59")"},
    {"servicedate", R"("2100-01-01 00:00:00")"},
    {"servicedate", R"("2027-02-29 09:00:00")"},
    {"servicedate", R"("2026-04-31 09:00:00")"},
    {"servicedate", R"("2026-11-15T10:42:16")"},
    {"servicedate", R"("2026-11-15 24:00:00")"},
    {"type", R"("0x1e")"},
    {"type", R"("0x0")"},
    {"type", R"("0x00Ff")"},
    {"type", R"("0x10000")"},
    {"type", R"("1e")"},
    {"type", R"("0x")"},
    {"type", "30"},
    {"hardware_rev", R"("A01")"},
    {"hardware_rev", R"("A0")"},
    {"pcb_rev", R"("B02")"},
    {"pcb_rev", R"("B021")"},
    {"pcb_rev", R"("   ")"},
    {"pcb_ser_num", R"("PCB-00004711")"},
    {"pcb_ser_num", R"("PCB-000047110")"},
    {"pcb_ser_num", R"("123456789012345678901234567890123456")"},
    {"pcb_ser_num", R"("1234567890123456789012345678901234567")"},
    {"pcb_ser_num", R"("")"},
    {"ser_num", R"("SN-0000004711")"},
    {"ser_num", R"("SN-00000047110")"},
    {"ser_num", R"("")"},
    {"ser_num", R"("SN\u0000")"},
    {"ser_num", R"("SN\t1")"},
    {"ser_num", R"("SN\u0031\/\"\\~ ")"},
    {"ser_num", "\"SN\xC3\xA4\""},
    {"ser_num", R"("\ud83d\ude00")"},
    {"ser_num", R"("\ud83d")"},
    {"ser_num", "4711"},
    {"entity_id", R"("0x02a55e0000000000")"},
    {"entity_id", R"("0xFFFFFFFFFFFFFFFF")"},
    {"entity_id", R"("0x2a55e0000000000")"},
    {"entity_model_id", R"("0x0000000000000000")"},
    {"entity_model_id", R"("0X02a55e0000000001")"},
    {"ari", R"("0x105c8000")"},
    {"ari", R"("0x105C8FFF")"},
    {"ari", R"("0x105c9000")"},
    {"ari", R"("0x105c7fff")"},
    {"aio_calibration", "[0, -2.5, 1, 5, -5, 0.1, 4.9, -0]"},
    {"aio_calibration", "[0.3, 1e0, 25e-1, -0.0, 50E-1, 0.30, 1, 1]"},
    {"aio_calibration", "[0.30000000000000004, 0, 0, 0, 0, 0, 0, 0]"},
    {"aio_calibration", "[5.1, 0, 0, 0, 0, 0, 0, -5.1]"},
    {"aio_calibration", "[0, 0, 0, 0, 0, 0, 0]"},
    {"aio_calibration", "[0, 0, 0, 0, 0, 0, 0, 0, 0]"},
    {"aio_calibration", R"([0, 0, 0, 0, 0, 0, 0, "0"])"},
    {"aio_calibration", "[0, 0, 0, 0, 0, 0, 0, [0]]"},
    {"aio_calibration", "{\"0\": 0, \"0\": 0}"},
    {"aio_calibration", "[0, 0, 0, 0, 0, 0, 0, 1e999]"},
    {"aio_calibration", "[00, 0, 0, 0, 0, 0, 0, 0.]"},
    {"aio_calibration", "\"\""},
    {"block8", R"("0123456789abcdef")"},
    {"block8", R"("0123456789ABCDEF")"},
    {"block8", R"("0123456789abcde")"},
    {"block8", R"("0x123456789abcdef")"},
    {"mac5", R"("02:a5:5e:12:34:05")"},
    {"Mac1", R"("02:a5:5e:12:34:01")"},
    {"mac1\\u0000", R"("02:a5:5e:12:34:01")"},
    {"\\u006dac1", R"("02:a5:5e:12:34:01")"},
    {"crc", "0"},
    {"", "null"},
    {"mac1", "null"},
    {"mac1", "true"},
    {"mac1", "{}"},
    {"mac1", "[[[[[[[["},
    {"mac1", "\"02:a5:5e:12:34:01\" // the first"},
}};

struct Input
{
    std::optional<std::string> text;
    Settings settings;
};

// What one byte of an input chooses.
class Choices
{
public:
    Choices(const uint8_t* data, size_t size) : next(data), end(data + size) {}

    bool AreLeft() const
    {
        return next != end;
    }

    size_t Take()
    {
        return next != end ? *next++ : 0;
    }

    std::string TakeRest()
    {
        const std::string rest(next, end);
        next = end;
        return rest;
    }

private:
    const uint8_t* next;
    const uint8_t* end;
};

// One character of it becomes another.
std::string Changed(std::string text, Choices& choices)
{
    const size_t place = choices.Take();
    const auto character = static_cast<char>(choices.Take());
    if (!text.empty())
        text[place % text.size()] = character;
    return text;
}

// As the shell would hand it over: of a string the text, and nothing after a zero byte.
void AddSetting(const Member& member, bool isChanged, Choices& choices, Settings& settings)
{
    std::string value = member.value;
    if (value.front() == '"')
        value = value.substr(1, value.rfind('"') - 1);
    if (isChanged)
        value = Changed(value, choices).c_str();
    // Without a value it is a wrong command line.
    if (!value.empty())
        settings.emplace_back(member.key, value);
}

// Each part begins with the number of a member and a byte that says what becomes of it.
Input PutTogether(Choices& choices)
{
    constexpr size_t kSetting = 1;
    constexpr size_t kChange = 2;
    constexpr size_t kMost = 24;

    Input input;
    std::string members;
    for (size_t count = 0; choices.AreLeft() && count < kMost; ++count) {
        const Member& member = kMembers[choices.Take() % kMembers.size()];
        const size_t use = choices.Take();
        const bool isChanged = (use & kChange) != 0;
        if ((use & kSetting) != 0) {
            AddSetting(member, isChanged, choices, input.settings);
        } else {
            const std::string text = std::string("\"") + member.key + "\": " + member.value;
            members += (members.empty() ? "" : ", ") + (isChanged ? Changed(text, choices) : text);
        }
    }
    if (!members.empty() || input.settings.empty())
        input.text = "{" + members + "}";
    return input;
}

Input InputOf(const uint8_t* data, size_t size)
{
    Choices choices(data, size);
    if (choices.Take() % 2 == 0)
        return PutTogether(choices);
    return {choices.TakeRest(), {}};
}

struct Outcome
{
    std::set<std::optional<std::string>> wrong;
    std::optional<Document> document;
};

void CheckMessages(const std::vector<kestrelRecord::Error>& errors)
{
    constexpr size_t kLongest = 400;
    for (const auto& error : errors) {
        const std::string& message = error.message;
        const bool isPrintable = std::all_of(message.begin(), message.end(),
                                             [](char one) { return one >= 0x20 && one <= 0x7e; });
        Expect(isPrintable, "a message is printable");
        Expect(!message.empty() && message.size() <= kLongest, "a message is one line");
        Expect(error.field || message.find("line ") == 0, "a text that is no JSON has a place");
    }
}

Outcome Run(const Input& input)
{
    std::vector<kestrelRecord::Setting> settings;
    for (const auto& [key, value] : input.settings)
        settings.push_back({key, value});
    Outcome outcome;
    try {
        outcome.document =
            kestrelRecord::parseDocument(input.text, settings, kestrelRecord::VersionIs::kOptional);
    } catch (const kestrelRecord::Failure& failure) {
        Expect(failure.status == kestrelRecord::Status::kRefused, "the status of a refusal");
        Expect(!failure.errors.empty(), "a refusal has its errors");
        CheckMessages(failure.errors);
        for (const auto& error : failure.errors)
            outcome.wrong.insert(error.field);
    }
    return outcome;
}

void CheckImage(const Document& document, const ExpectedDocument& expected)
{
    const std::vector<uint8_t> image = kestrelRecord::makeImage(document);
    Expect(image.size() == (expected.version == 1 ? 128 : 2048), "the size of an image");
    const size_t formatted = expected.version == 1 ? 128 : 255;
    const MemoryRecord record({image.begin(), image.begin() + static_cast<ptrdiff_t>(formatted)});
    Expect(record.damage().empty(), "the record of an image is intact");
    for (const auto& [key, value] : expected.values)
        Expect(kestrelRecord::findField(key)->read(record) == value, key.c_str());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const Input input = InputOf(data, size);
    const ExpectedDocument expected(input.text, input.settings);
    const Outcome outcome = Run(input);
    Expect(outcome.wrong == expected.wrong, "the keys that are named as wrong");
    if (!outcome.document)
        return 0;

    const Document& document = *outcome.document;
    Expect(static_cast<int>(document.version.value_or(0)) == expected.version, "the version");
    std::map<std::string, std::string> values;
    for (const auto& [field, value] : document.values)
        values[field->key] = value;
    Expect(values == expected.values, "the values");
    if (document.version)
        CheckImage(document, expected);
    return 0;
}
