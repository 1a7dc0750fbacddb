// Parts with arbitrary contents: what is read from them, and that reading changes nothing.

#include "CapturedStreams.h"
#include "Expect.h"
#include "ExpectedBoard.h"
#include "MemoryPart.h"
#include "MenuEntryTable.h"
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

ExpectedBoard BoardOf(const Input& input)
{
    ExpectedBoard board(input.contents);
    if ((input.choices & kValidCrc) != 0 && board.IsLoadable())
        board.StoreCrc();
    return board;
}

const MemoryPart& PartFor(const ExpectedBoard& board)
{
    static const MemoryPart small(128);
    static const MemoryPart large(2048);
    const MemoryPart& part = board.Contents().size() == 128 ? small : large;
    part.Overwrite(board.Contents());
    return part;
}

std::string ExpectedReadMessage(const ExpectedBoard& board, int32_t position, uint32_t count)
{
    if (position == -1)
        return "";
    if (!board.IsIntact())
        return "CRC invalid\n";
    const auto size = static_cast<int64_t>(board.Size());
    if (count == 0 || (position >= 0 && position + int64_t{count} <= size + 1))
        return "";
    return "Read buffer Overflow EEPROM size:" + std::to_string(size) +
           " Pos:" + std::to_string(position) + "\n";
}

void CheckRead(const VaEeprom& record, const ExpectedBoard& board, const Input& input,
               CapturedStreams& streams)
{
    Bytes bytes(input.count);
    const int32_t status = record.ReadBytes(input.position, bytes.data(), input.count);
    const std::string message = ExpectedReadMessage(board, input.position, input.count);
    Expect(streams.TakeMessages() == message, "the message of a read");
    Expect(status == (message.empty() && input.position != -1 ? 0 : -1), "the status of a read");
    if (status == -1 || input.count == 0)
        return;

    // The byte behind the part has no value.
    const auto first = static_cast<size_t>(input.position);
    const size_t count = std::min<size_t>(input.count, board.Size() - first);
    Expect(std::equal(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(count),
                      board.Contents().begin() + input.position),
           "the bytes of a read");
}

void CheckDisplays(const ExpectedBoard& board, CapturedStreams& streams)
{
    for (const Menuentry* entry : menuEntries) {
        const std::string text = entry->display();
        Expect(text == board.Display(entry->option), entry->name.c_str());
        Expect(streams.TakeMessages() == board.DisplayMessages(entry->option), entry->name.c_str());
    }
    Expect(streams.TakeOutput().empty(), "no output of the displays");
}

void CheckRecord(VaEeprom& record, const ExpectedBoard& board, const Input& input)
{
    CapturedStreams streams;
    eeprom = &record;
    CheckDisplays(board, streams);
    record.DumpRecord();
    Expect(streams.TakeOutput() == board.Dump(), "the dump");
    Expect(streams.TakeMessages() == board.DumpMessages(), "the messages of the dump");
    CheckRead(record, board, input, streams);
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
    const ExpectedBoard board = BoardOf(input);
    const MemoryPart& part = PartFor(board);
    bool loaded = false;
    try {
        VaEeprom record(part.Path());
        loaded = true;
        CheckRecord(record, board, input);
    } catch (const std::logic_error&) {
        Expect(!loaded, "no exception of a read");
    }
    CheckWholeRead(part, board);
    Expect(loaded == board.IsLoadable(), "a part is loaded unless it is too short");
    Expect(part.Contents() == board.Contents(), "the part is as it was");
    return 0;
}
