#include "Options.h"

#include "Failure.h"

#include <cstdlib>
#include <gtest/gtest.h>

using namespace kestrelRecord;

namespace {

constexpr CommandSyntax kEverything = {"dwDsfnjo", Operands::kDocument};
constexpr CommandSyntax kFieldsOnly = {"dw", Operands::kFields};

Options parse(const CommandSyntax& syntax, std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "command");
    std::vector<char*> argv;
    for (std::string& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    return parseOptions(syntax, static_cast<int>(arguments.size()), argv.data());
}

std::string refusal(const CommandSyntax& syntax, const std::vector<std::string>& arguments)
{
    try {
        parse(syntax, arguments);
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status, Status::kUsage);
        return failure.what();
    }
    return "";
}

} // namespace

TEST(Options, StandAnywhereBeforeTheDoubleDashWhateverTheEnvironmentSays)
{
    setenv("POSIXLY_CORRECT", "1", 1);
    const Options options = parse(kEverything, {"--device", "-", "-n", "-", "--json", "-oF"});
    unsetenv("POSIXLY_CORRECT");
    EXPECT_EQ(options.device, "-");
    EXPECT_EQ(options.document, "-");
    EXPECT_EQ(options.output, "F");
    EXPECT_TRUE(options.dryRun && options.json);
    for (const char* document : {"--json", "-"})
        EXPECT_EQ(parse(kEverything, {"-no", "F", "--", document}).document, document);
}

TEST(Options, TakeSettingsApartAtTheFirstEqualsSign)
{
    const Options options = parse(kEverything, {"-o", "", "--set=a=b=c", "--set", "a= "});
    EXPECT_EQ(options.output, "");
    ASSERT_EQ(options.settings.size(), 2U);
    EXPECT_EQ(options.settings[0].key, "a");
    EXPECT_EQ(options.settings[0].value, "b=c");
    EXPECT_EQ(options.settings[1].value, " ");
}

TEST(Options, AreRefusedWithWhatIsWrong)
{
    using Line = std::vector<std::string>;
    const std::vector<std::pair<Line, std::string>> lines = {
        {{"--jso"}, "there is no option --jso"},
        {{"--devic=x"}, "there is no option --devic=x"},
        {{"--nix"}, "there is no option --nix"},
        {{"-nx"}, "there is no option -x"},
        {{"--json=1"}, "--json takes no value"},
        {{"--device"}, "--device needs a value"},
        {{"-o"}, "-o needs a value"},
        {{"--set", "a"}, "--set takes FIELD=VALUE, not \"a\""},
        {{"--set", "ser_num=", "--set", "ser_num=1"}, "--set ser_num= has no value"},
        {{"-oF"}, "DOCUMENT or --set is missing"},
        {{"D"}, "-o FILE is missing"},
        {{"-oF", "D", "E"}, "one DOCUMENT is enough: \"E\" is too much"},
    };
    for (const auto& [line, message] : lines)
        EXPECT_EQ(refusal(kEverything, line), message);
    EXPECT_EQ(refusal(kFieldsOnly, {"mac1", "nix"}), "there is no field \"nix\"");
    EXPECT_EQ(refusal(kFieldsOnly, {"--json"}), "there is no option --json");
}

TEST(Options, AreNotLookedAtAfterHelp)
{
    EXPECT_TRUE(parse(kEverything, {"--help", "--nix"}).help);
}
