#include "Options.h"

#include "Failure.h"
#include "ShownText.h"

#include <cstring>
#include <getopt.h>

namespace kestrelRecord {

namespace {

constexpr char kHelp = 'h';
constexpr const char* kShortOptions = "no"; // the others have long names only

struct OptionRow
{
    char letter;
    const char* name; // without a short name's "-", null if there is no long name
    const char* argument;
    const char* help;
};

constexpr OptionRow kOptions[] = {
    {'d', "device", "PATH", "the part, or a file of 128 or 2048 bytes in its place"},
    {'w', "wait", "SECONDS", "how long to wait for the lock (0 to 86400; default 10)"},
    {'D', "damaged", nullptr, "print what is left of a damaged record, too"},
    {'s', "set", "FIELD=VALUE", "put VALUE in the place of what DOCUMENT says"},
    {'f', "format", nullptr, "give what is not named the values of a fresh record"},
    {'n', "dry-run", nullptr, "say what would be written, and write nothing"},
    {'j', "json", nullptr, "report as one JSON object on one line"},
    {'o', nullptr, "FILE", "where the image goes; - is standard output"},
    {'h', "help", nullptr, "print this text"},
};

[[noreturn]] void refuse(const std::string& message)
{
    throw Failure(Status::kUsage, message);
}

bool has(const char* letters, char letter)
{
    return strchr(letters, letter) != nullptr;
}

bool has(const CommandSyntax& syntax, const OptionRow& row)
{
    return has(syntax.options, row.letter) || row.letter == kHelp;
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

void addOption(Options& options, int letter, const char* argument)
{
    switch (letter) {
    case 'd':
        options.device = argument;
        break;
    case 'w':
        options.wait = secondsFrom(argument);
        break;
    case 'D':
        options.damaged = true;
        break;
    case 's':
        options.settings.push_back(settingFrom(argument));
        break;
    case 'f':
        options.format = true;
        break;
    case 'n':
        options.dryRun = true;
        break;
    case 'j':
        options.json = true;
        break;
    case 'o':
        options.output = argument;
        break;
    default:
        options.help = true;
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
        refuse("DOCUMENT is missing");
    if (has(syntax.options, 'o') && !options.output)
        refuse("-o FILE is missing");
}

} // namespace

Options parseOptions(const CommandSyntax& syntax, int argc, char* argv[])
{
    const std::vector<option> longs = longOptions(syntax);
    const std::string shorts = shortOptions(syntax);
    Options options;
    optind = 0; // starts anew
    while (!options.help) {
        const char* const argument = argv[optind == 0 ? 1 : optind];
        int index = -1;
        const int letter = getopt_long(argc, argv, shorts.c_str(), longs.data(), &index);
        if (letter == -1)
            break;
        if (letter == '?')
            refuseOption(argument);
        if (letter == ':')
            refuse(shownShort(argument) + " needs a value");
        if (index >= 0)
            checkWholeName(argument, longs[static_cast<size_t>(index)]);
        if (letter == 1)
            addOperand(options, syntax.operands, optarg);
        else
            addOption(options, letter, optarg);
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
