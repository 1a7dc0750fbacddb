// Parts with arbitrary contents: what is read from them, and that reading changes nothing.

#include "CapturedStreams.h"
#include "Expect.h"
#include "MemoryPart.h"
#include "MenuEntryTable.h"
#include "RecordModel.h"
#include "RecordOnPart.h"

#include <algorithm>
#include <stdexcept>

using vantorBoardSupport::VaEeprom;

namespace {

// The bits of an input's first byte.
constexpr unsigned int kSmallPart = 1;
constexpr unsigned int kValidCrc = 2;
constexpr unsigned int kVersionOfThePart = 4;
constexpr unsigned int kPattern = 8;

struct Input
{
    unsigned int choices;
    int32_t position; // of a read of any bytes
    uint32_t count;
    Bytes contents;
};

constexpr size_t kHeader = 4;

// The contents are repeated, so that a short input fills a whole part.
Input InputOf(const uint8_t* data, size_t size)
{
    Input input = {data[0], static_cast<int16_t>(data[1] << 8 | data[2]), data[3],
                   Bytes((data[0] & kSmallPart) != 0 ? 128 : 2048)};
    for (size_t i = 0; i < input.contents.size(); ++i)
        input.contents[i] = data[kHeader + i % (size - kHeader)];
    if ((input.choices & kVersionOfThePart) != 0) {
        input.contents[0] = 0;
        input.contents[1] = (input.choices & kSmallPart) != 0 ? 1 : 2;
    }
    if ((input.choices & kPattern) != 0)
        std::copy_n("Vantor", 6, &input.contents[2]);
    return input;
}

RecordModel ModelOf(const Input& input)
{
    RecordModel model(input.contents);
    if ((input.choices & kValidCrc) != 0 && model.IsLoadable())
        model.StoreCrc();
    return model;
}

const MemoryPart& PartFor(const RecordModel& model)
{
    static const MemoryPart small(128);
    static const MemoryPart large(2048);
    const MemoryPart& part = model.Contents().size() == 128 ? small : large;
    part.Overwrite(model.Contents());
    return part;
}

std::string ExpectedReadMessage(const RecordModel& model, int32_t position, uint32_t count)
{
    if (position == -1)
        return "";
    if (!model.IsIntact())
        return "CRC invalid\n";
    const auto size = static_cast<int64_t>(model.Size());
    if (count == 0 || (position >= 0 && position + int64_t{count} <= size + 1))
        return "";
    return "Read buffer Overflow EEPROM size:" + std::to_string(size) +
           " Pos:" + std::to_string(position) + "\n";
}

void CheckRead(const VaEeprom& record, const RecordModel& model, const Input& input,
               CapturedStreams& streams)
{
    Bytes bytes(input.count);
    const int32_t status = record.ReadBytes(input.position, bytes.data(), input.count);
    const std::string message = ExpectedReadMessage(model, input.position, input.count);
    Expect(streams.TakeMessages() == message, "the message of a read");
    Expect(status == (message.empty() && input.position != -1 ? 0 : -1), "the status of a read");
    if (status == -1 || input.count == 0)
        return;

    // The byte after the end of the part has no value.
    const auto first = static_cast<size_t>(input.position);
    const size_t count = std::min<size_t>(input.count, model.Size() - first);
    Expect(std::equal(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(count),
                      model.Contents().begin() + input.position),
           "the bytes of a read");
}

void CheckDisplays(const RecordModel& model, CapturedStreams& streams)
{
    for (const Menuentry* entry : menuEntries) {
        const std::string text = entry->display();
        Expect(text == model.Display(entry->option), entry->name.c_str());
        Expect(streams.TakeMessages() == model.DisplayMessages(entry->option), entry->name.c_str());
    }
    Expect(streams.TakeOutput().empty(), "no output of the displays");
}

void CheckRecord(VaEeprom& record, const RecordModel& model, const Input& input)
{
    CapturedStreams streams;
    eeprom = &record;
    CheckDisplays(model, streams);
    record.DumpRecord();
    Expect(streams.TakeOutput() == model.Dump(), "the dump");
    Expect(streams.TakeMessages() == model.DumpMessages(), "the messages of the dump");
    CheckRead(record, model, input, streams);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    initMenu();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size <= kHeader)
        return 0;
    const Input input = InputOf(data, size);
    const RecordModel model = ModelOf(input);
    const MemoryPart& part = PartFor(model);
    bool loaded = false;
    try {
        VaEeprom record(part.Path());
        loaded = true;
        CheckRecord(record, model, input);
    } catch (const std::logic_error&) {
        Expect(!loaded, "no exception of a read");
    }
    CheckWholeRead(part, model);
    Expect(loaded == model.IsLoadable(), "a part is loaded unless it is too short");
    Expect(part.Contents() == model.Contents(), "the part is as it was");
    return 0;
}
