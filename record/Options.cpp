#include "Options.h"

#include "Failure.h"
#include "ShownText.h"

#include <cstring>
#include <getopt.h>

namespace kestrelRecord {

namespace {

constexpr char kHelp = 'h';
constexpr const char* kShortOptions = "no"; // the others have long names only

[[noreturn]] void refuse(const std::string& message)
{
    throw Failure(Status::kUsage, message);
}

bool has(const char* letters, char letter)
{
    return strchr(letters, letter) != nullptr;
}

std::chrono::seconds secondsFrom(const std::string& text)
{
    const bool digits = text.find_first_not_of("0123456789") == std::string::npos;
    const size_t first = text.find_first_not_of('0');
    const std::string number = first == std::string::npos ? "0" : text.substr(first);
    if (text.empty() || !digits || number.size() > 5 || std::stoi(number) > 86400)
        refuse("--wait takes whole seconds from 0 to 86400, not \"" + shownShort(text) + "\"");
    return std::chrono::seconds(std::stoi(number));
}

Setting settingFrom(const std::string& text)
{
    const size_t equals = text.find('=');
    if (equals == std::string::npos)
        refuse("--set takes FIELD=VALUE, not \"" + shownShort(text) + "\"");
    if (equals + 1 == text.size())
        refuse("--set " + shownShort(text) + " has no value");
    return {text.substr(0, equals), text.substr(equals + 1)};
}

struct OptionRow
{
    char letter;
    const char* name; // long, null if there is none
    const char* argument;
    const char* help;
    void (*apply)(Options& options, const char* argument);
};

constexpr OptionRow kOptions[] = {
    {'d', "device", "PATH", "the part, or a file of 128 or 2048 bytes in its place",
     [](Options& options, const char* path) { options.device = path; }},
    {'w', "wait", "SECONDS", "how long to wait for the lock (0 to 86400; default 10)",
     [](Options& options, const char* seconds) { options.wait = secondsFrom(seconds); }},
    {'D', "damaged", nullptr, "print what is left of a damaged record, too",
     [](Options& options, const char*) { options.damaged = true; }},
    {'s', "set", "FIELD=VALUE", "put VALUE in the place of what DOCUMENT says",
     [](Options& options, const char* text) { options.settings.push_back(settingFrom(text)); }},
    {'f', "format", nullptr, "give what is not named the values of a fresh record",
     [](Options& options, const char*) { options.format = true; }},
    {'n', "dry-run", nullptr, "say what would be written, and write nothing",
     [](Options& options, const char*) { options.dryRun = true; }},
    {'j', "json", nullptr, "report as one JSON object on one line",
     [](Options& options, const char*) { options.json = true; }},
    {'o', nullptr, "FILE", "where the image goes; - is standard output",
     [](Options& options, const char* file) { options.output = file; }},
    {kHelp, "help", nullptr, "print this text",
     [](Options& options, const char*) { options.help = true; }},
};

bool has(const CommandSyntax& syntax, const OptionRow& row)
{
    return has(syntax.options, row.letter) || row.letter == kHelp;
}

void addOperand(Options& options, Operands operands, const std::string& text)
{
    if (operands == Operands::kDocument) {
        if (options.document)
            refuse("one DOCUMENT is enough: \"" + shownShort(text) + "\" is too much");
        options.document = text;
    } else if (const Field* field = findField(text)) {
        options.fields.push_back(field);
    } else {
        refuse("there is no field \"" + shownShort(text) + "\"");
    }
}

void addOption(Options& options, char letter, const char* argument)
{
    for (const OptionRow& row : kOptions) {
        if (row.letter == letter)
            row.apply(options, argument);
    }
}

std::vector<option> longOptions(const CommandSyntax& syntax)
{
    std::vector<option> result;
    for (const OptionRow& row : kOptions) {
        const int argument = row.argument != nullptr ? required_argument : no_argument;
        if (row.name != nullptr && has(syntax, row))
            result.push_back({row.name, argument, nullptr, row.letter});
    }
    result.push_back({});
    return result;
}

// "-" makes getopt report operands in their places, whatever POSIXLY_CORRECT says; ":" makes it
// report a missing argument, and print nothing.
std::string shortOptions(const CommandSyntax& syntax)
{
    std::string result = "-:";
    for (const OptionRow& row : kOptions) {
        if (has(kShortOptions, row.letter) && has(syntax, row))
            result += std::string(1, row.letter) + (row.argument != nullptr ? ":" : "");
    }
    return result;
}

[[noreturn]] void refuseOption(const std::string& argument)
{
    const bool isLong = argument.compare(0, 2, "--") == 0;
    if (isLong && optopt != 0)
        refuse(shownShort(argument.substr(0, argument.find('='))) + " takes no value");
    const std::string name = isLong ? argument : std::string{'-', static_cast<char>(optopt)};
    refuse("there is no option " + shownShort(name));
}

// getopt takes any beginning of a long name that fits only one.
void checkWholeName(const std::string& argument, const option& row)
{
    if (argument.substr(0, argument.find('=')) != std::string("--") + row.name)
        refuse("there is no option " + shownShort(argument));
}

void checkOperands(const Options& options, const CommandSyntax& syntax)
{
    if (options.help)
        return;
    if (syntax.operands == Operands::kDocument && !options.document && options.settings.empty())
        refuse("DOCUMENT or --set is missing");
    if (has(syntax.options, 'o') && !options.output)
        refuse("-o FILE is missing");
}

// What getopt_long needs to know.
struct Scan
{
    const CommandSyntax& syntax;
    std::vector<option> longs = longOptions(syntax);
    std::string shorts = shortOptions(syntax);
};

// False at the end of the options.
bool addNext(Options& options, const Scan& scan, int argc, char* argv[])
{
    const char* const argument = argv[optind == 0 ? 1 : optind];
    int index = -1;
    const int letter = getopt_long(argc, argv, scan.shorts.c_str(), scan.longs.data(), &index);
    if (letter == -1)
        return false;
    if (letter == '?')
        refuseOption(argument);
    if (letter == ':')
        refuse(shownShort(argument) + " needs a value");
    if (index >= 0)
        checkWholeName(argument, scan.longs[static_cast<size_t>(index)]);
    if (letter == 1)
        addOperand(options, scan.syntax.operands, optarg);
    else
        addOption(options, static_cast<char>(letter), optarg);
    return !options.help;
}

} // namespace

Options parseOptions(const CommandSyntax& syntax, int argc, char* argv[])
{
    const Scan scan{syntax};
    Options options;
    optind = 0; // starts anew
    while (addNext(options, scan, argc, argv)) {
    }
    for (int i = optind; i < argc && !options.help; ++i)
        addOperand(options, syntax.operands, argv[i]);
    checkOperands(options, syntax);
    return options;
}

std::string optionHelp(const CommandSyntax& syntax)
{
    std::string text;
    for (const OptionRow& row : kOptions) {
        if (!has(syntax, row))
            continue;
        std::string name = has(kShortOptions, row.letter) ? std::string{'-', row.letter} : "";
        if (row.name != nullptr)
            name += (name.empty() ? "--" : ", --") + std::string(row.name);
        if (row.argument != nullptr)
            name += std::string(" ") + row.argument;
        name.resize(22, ' ');
        text += "  " + name + row.help + "\n";
    }
    return text;
}

} // namespace kestrelRecord
