// Command lines on parts of all kinds: which command they select and what it does.

#include "CapturedStreams.h"
#include "CommandLine.h"
#include "Expect.h"
#include "FormattedRecords.h"
#include "MemoryPart.h"
#include "MenuEntryTable.h"
#include "RecordModel.h"
#include "StandardOutput.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <stdexcept>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

namespace {

using Arguments = std::vector<std::string>;

constexpr std::array<const char*, 17> kOptions = {
    "--version",     "--mac1",  "--mac2",         "--mac3",    "--mac4", "--productiondate",
    "--servicedate", "--type",  "--hardware_rev", "--pcb_rev", "--crc",  "--ser_num",
    "--pcb_ser_num", "--valid", "--format_v2",    "--erase",   ""};
constexpr std::array<const char*, 5> kSpecialWords = {"--help", "--raw", "--erase", "--format_v1",
                                                      "--format_v2"};
constexpr std::array<const char*, 3> kReadOnly = {"--version", "--crc", "--valid"};
constexpr std::array<const char*, 13> kOthers = {
    "-r",           "-w",     "-raw", "--mac0", "--pattern",         "--",
    "--mac",        "--type", "001",  "0x1e",   "02:a5:5e:12:34:01", "2026-11-15 10:42:16",
    "SN-0000004711"};

constexpr std::array<const char*, 2> kFirstAndLastDate = {"2013-00-00 00:00:00",
                                                          "2099-12-31 23:59:59"};

template <typename Words> bool IsOneOf(const Words& words, const std::string& text)
{
    return std::find(words.begin(), words.end(), text) != words.end();
}

const Arguments& Dictionary()
{
    static const Arguments words = [] {
        Arguments all(kOptions.begin(), kOptions.end());
        all.insert(all.end(), kOthers.begin(), kOthers.end());
        all.insert(all.end(), kSpecialWords.begin(), kSpecialWords.end());
        all.insert(all.end(), kFirstAndLastDate.begin(), kFirstAndLastDate.end());
        return all;
    }();
    return words;
}

Bytes Damaged(Bytes contents)
{
    contents[9] ^= 1;
    return contents;
}

// The contents of a part by the number that an input begins with.
const Bytes& ContentsOf(size_t number)
{
    static const std::array<Bytes, 7> contents = {
        FormattedVersion1(),
        Version2Part(),
        Damaged(FormattedVersion1()),
        Damaged(Version2Part()),
        Bytes{0, 1} + Bytes(126, 0xFF),
        Bytes(2048, 0xFF),
        FormattedVersion1() + Bytes(1920, 0x55),
    };
    return contents[number % contents.size()];
}

std::string TakeText(const uint8_t*& data, const uint8_t* end, size_t length)
{
    const uint8_t* first = data;
    data += std::min(static_cast<ptrdiff_t>(length), end - data);
    const std::string text(first, data);
    return text.c_str(); // an argument ends at its first zero
}

// A word of the dictionary with one other character.
std::string TakeVariant(const uint8_t*& data, const uint8_t* end, std::string word)
{
    if (end - data >= 2 && !word.empty() && data[1] != 0) {
        word[data[0] % word.size()] = static_cast<char>(data[1]);
        data += 2;
    }
    return word;
}

// Each begins with a byte: below 0x80 the number of a word, from 0x40 on one with a change, and
// from 0x80 on the length of a text.
Arguments ArgumentsOf(const uint8_t* data, const uint8_t* end)
{
    Arguments arguments;
    while (data < end && arguments.size() < 8) {
        const unsigned int code = *data++;
        const std::string& word = Dictionary()[(code & 0x3F) % Dictionary().size()];
        if (code < 0x40)
            arguments.push_back(word);
        else if (code < 0x80)
            arguments.push_back(TakeVariant(data, end, word));
        else
            arguments.push_back(TakeText(data, end, code & 0x3F));
    }
    return arguments;
}

enum class Failure
{
    kNone,
    kMissingValue,
    kShortDate,
    kDevice,
};

struct Outcome
{
    int status = 0;
    Failure failure = Failure::kNone;
    bool usage = false;
    std::string output = {};
    std::string messages = {};
};

Outcome FormatOutcome(RecordModel& model, const Bytes& formatted)
{
    Outcome outcome;
    if (formatted.size() > model.Contents().size())
        outcome.failure = Failure::kDevice;
    else
        model.Format(formatted);
    return outcome;
}

Outcome SpecialOutcome(const std::string& word, RecordModel& model)
{
    Outcome outcome;
    if (word == "--format_v1")
        return FormatOutcome(model, FormattedVersion1());
    if (word == "--format_v2")
        return FormatOutcome(model, FormattedVersion2());
    if (word == "--raw") {
        outcome.output = model.Dump();
        outcome.messages = model.DumpMessages();
    } else if (word == "--erase") {
        model.Erase();
    } else {
        outcome.usage = true;
    }
    return outcome;
}

Outcome WriteOutcome(const std::string& option, const std::string* value, RecordModel& model)
{
    Outcome outcome;
    if (value == nullptr) {
        if (!IsOneOf(kReadOnly, option))
            outcome.failure = Failure::kMissingValue;
    } else if (model.Write(option, *value) == RecordModel::Written::kTooShort) {
        outcome.failure = Failure::kShortDate;
    }
    return outcome;
}

Outcome ElementOutcome(bool isRead, const Arguments& arguments, RecordModel& model)
{
    Outcome outcome;
    const auto option = std::find_if(arguments.begin(), arguments.end(),
                                     [](const auto& text) { return IsOneOf(kOptions, text); });
    if (option == arguments.end()) {
        outcome.status = -1;
        outcome.usage = true;
    } else if (isRead) {
        outcome.output = model.Display(*option) + "\n";
        outcome.messages = model.DisplayMessages(*option);
    } else {
        const bool isLast = option + 1 == arguments.end();
        outcome = WriteOutcome(*option, isLast ? nullptr : &option[1], model);
    }
    return outcome;
}

// Changes the model as the command has to.
Outcome ExpectedOutcome(const Arguments& arguments, RecordModel& model)
{
    bool isRead = false;
    for (const std::string& argument : arguments) {
        if (IsOneOf(kSpecialWords, argument))
            return SpecialOutcome(argument, model);
        if (argument == "-r" || argument == "-w")
            isRead = argument == "-r";
    }
    return ElementOutcome(isRead, arguments, model);
}

// The usage text does not go through std::cout.
void CatchStandardOutput()
{
    const int fd = memfd_create("standard output", MFD_CLOEXEC);
    Expect(dup2(fd, STDOUT_FILENO) == STDOUT_FILENO, "standard output is caught");
    Expect(fcntl(STDOUT_FILENO, F_SETFL, O_APPEND) == 0, "standard output can be cut");
    close(fd);
}

bool TakeUsage()
{
    std::array<char, 2048> text{};
    const ssize_t length = pread(STDOUT_FILENO, text.data(), text.size(), 0);
    if (length <= 0)
        return false;
    Expect(ftruncate(STDOUT_FILENO, 0) == 0, "standard output is emptied");
    const std::string usage(text.data(), static_cast<size_t>(length));
    Expect(usage.find("Usage: kestrel <r/w> <element>") == 0, "the usage text begins");
    Expect(std::count(usage.begin(), usage.end(), '\n') == 22, "the usage text is whole");
    return true;
}

Outcome Run(const Arguments& arguments)
{
    std::vector<const char*> argv = {"kestrel"};
    for (const std::string& argument : arguments)
        argv.push_back(argument.c_str());
    argv.push_back(nullptr);

    CapturedStreams streams;
    Outcome outcome;
    try {
        outcome.status = runCommandLine(static_cast<int>(argv.size()) - 1, argv.data());
        flushStandardOutput();
    } catch (const std::out_of_range&) {
        outcome.failure = Failure::kShortDate;
    } catch (const std::logic_error&) {
        outcome.failure = Failure::kMissingValue;
    } catch (const std::system_error&) {
        outcome.failure = Failure::kDevice;
    }
    outcome.usage = TakeUsage();
    outcome.output = streams.TakeOutput();
    outcome.messages = streams.TakeMessages();
    return outcome;
}

void Compare(const Outcome& outcome, const Outcome& expected)
{
    Expect(outcome.failure == expected.failure, "the failure");
    Expect(outcome.status == expected.status, "the status");
    Expect(outcome.usage == expected.usage, "the usage text");
    Expect(outcome.output == expected.output, "the output");
    Expect(outcome.messages == expected.messages, "the messages");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    CatchStandardOutput();
    initMenu();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const MemoryPart small(128);
    static const MemoryPart large(2048);

    if (size == 0)
        return 0;
    RecordModel model(ContentsOf(data[0]));
    const MemoryPart& part = model.Contents().size() == 128 ? small : large;
    part.Overwrite(model.Contents());
    vantorBoardSupport::VaEeprom record(part.Path());
    eeprom = &record;

    const Arguments arguments = ArgumentsOf(data + 1, data + size);
    const Outcome expected = ExpectedOutcome(arguments, model);
    Compare(Run(arguments), expected);

    // A transfer that fails may stop anywhere.
    if (expected.failure != Failure::kDevice)
        Expect(part.Contents() == model.Contents(), "the part after the command");
    return 0;
}
