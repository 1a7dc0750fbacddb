#include "Commands.h"
#include "Failure.h"
#include "Report.h"
#include "ReportingCommand.h"
#include "ShownText.h"
#include "StandardDescriptors.h"
#include "TerminateHandler.h"

#include <csignal>
#include <cstdio>
#include <string>

using namespace kestrelRecord;

namespace {

int runCommand(const Command& command, int argc, char* argv[])
{
    const Options options = parseOptions(command.syntax, argc, argv);
    if (!options.help)
        return command.run(options);
    printResult(commandHelp(command));
    return 0;
}

int run(int argc, char* argv[])
{
    const std::string first = argc > 1 ? argv[1] : "";
    if (const Command* command = findCommand(first))
        return runCommand(*command, argc - 1, argv + 1);
    if (first == "--help")
        printResult(generalHelp());
    else if (first == "--version")
        printResult("kestrel-record " KESTREL_VERSION "\n");
    else if (argc > 1)
        throw Failure(Status::kUsage, "there is no command " + shownShort(first));
    else
        throw Failure(Status::kUsage, "COMMAND is missing");
    return 0;
}

} // namespace

// What is not caught here is reported by the terminate handler.
int main(int argc, char* argv[]) // NOLINT(bugprone-exception-escape)
{
    installTerminateHandler("kestrel-record", static_cast<int>(Status::kFailed));
    // Failed writes are reported as such.
    for (const int number : {SIGPIPE, SIGXFSZ})
        signal(number, SIG_IGN);
    openStandardDescriptors();
    try {
        return run(argc, argv);
    } catch (const Failure& failure) {
        fputs(errorLine(failure.errors.front()).c_str(), stderr);
        if (failure.status == Status::kUsage)
            fputs("kestrel-record: see kestrel-record --help\n", stderr);
        return static_cast<int>(failure.status);
    }
}
