#include "Commands.h"

#include "DocumentFile.h"
#include "FieldTable.h"
#include "OutputFile.h"
#include "RecordPart.h"
#include "ReportingCommand.h"
#include "ShownText.h"
#include "WritePlan.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kestrelRecord {

namespace {

Document loadDocument(const Options& options, VersionIs versionIs = VersionIs::kOptional)
{
    std::optional<std::string> text;
    if (options.document)
        text = readDocumentFile(*options.document);
    return parseDocument(text, options.settings, versionIs);
}

std::string asDocument(const MemoryRecord& record)
{
    std::string text;
    for (const Field& field : fieldTable()) {
        if (isIn(field, record.version()))
            text += (text.empty() ? "{\n    " : ",\n    ") + quoted(field.key) + ": " +
                    asJson(field, field.read(record));
    }
    return text + "\n}\n";
}

std::vector<Error> absentFields(const std::vector<const Field*>& fields, uint32_t version)
{
    std::vector<Error> errors;
    for (const Field* field : fields) {
        if (!isIn(*field, version))
            errors.push_back({field->key, misfit(*field, "", version)});
    }
    return errors;
}

std::string asLines(const MemoryRecord& record, const std::vector<const Field*>& fields)
{
    std::string text;
    for (const Field* field : fields)
        text += shown(field->read(record)) + "\n";
    return text;
}

void read(Session& session)
{
    const Options& options = session.options;
    session.partState = kNotChanged;
    const RecordPart part(options.device, Access::kRead, options.wait);
    MemoryRecord record(part.bytes());
    const std::string damage = record.damage();
    if (!damage.empty())
        record.overlookDamage();
    std::vector<Error> errors;
    if (damage.empty() || options.damaged) {
        errors = absentFields(options.fields, record.version());
        if (errors.empty())
            printResult(options.fields.empty() ? asDocument(record)
                                               : asLines(record, options.fields));
    }
    if (!damage.empty())
        errors.push_back({std::nullopt, "the part holds no intact record: " + damage});
    if (!errors.empty())
        throw Failure(Status::kUnfit, errors);
}

void check(Session& session)
{
    session.report.version = loadDocument(session.options).version;
    session.report.result = "valid";
}

void diff(Session& session)
{
    const Options& options = session.options;
    session.partState = kNotChanged;
    const Document document = loadDocument(options);
    const RecordPart part(options.device, Access::kRead, options.wait);
    Report& report = session.report;
    report.comparison = compareWithDocument(document, part.bytes());
    report.version = MemoryRecord(part.bytes()).version();
    const bool same = report.comparison.changes.empty();
    report.result = same ? "same" : "differs";
    report.status = same ? Status::kDone : Status::kDiffers;
}

// The signals are held until the report is out.
void carryOut(const WritePlan& plan, const RecordPart& part, Session& session)
{
    session.signals.hold();
    session.partState = kMaybeChanged;
    const PartBytes readBack = part.write(plan.bytes, plan.range);
    // Bytes that read as before prove nothing: the write may have gone elsewhere.
    if (readBack != part.bytes())
        session.partState = kChanged;
    if (readBack != plan.bytes)
        throw Failure(Status::kNotVerified,
                      "the part does not hold what was written to it (write protected?)");
}

void write(Session& session)
{
    const Options& options = session.options;
    Report& report = session.report;
    session.partState = kNotChanged;
    const Document document = loadDocument(options);
    const RecordPart part(options.device, options.dryRun ? Access::kRead : Access::kWrite,
                          options.wait);
    const WritePlan plan = planWrite(document, options.format, part.bytes());
    report.version = plan.version;
    report.comparison = plan.comparison;
    report.result = "unchanged";
    if (plan.range.end == 0)
        return;
    report.result = options.dryRun ? "would write" : "written";
    if (!options.dryRun)
        carryOut(plan, part, session);
}

void image(Session& session)
{
    const Options& options = session.options;
    const Document document = loadDocument(options, VersionIs::kRequired);
    writeOutputFile(options.output.value(), makeImage(document));
}

constexpr Command kCommands[] = {
    {"read",
     "[--device PATH] [--wait SECONDS] [--damaged] [FIELD...]",
     {"dwD", Operands::kFields},
     "Prints the record as a document, or the value of each FIELD on a line.",
     [](const Options& options) { return runPlain(options, read); }},
    {"check",
     "[--set FIELD=VALUE]... [--json] [DOCUMENT]",
     {"sj", Operands::kDocument},
     "Says whether DOCUMENT can be written to some part.",
     [](const Options& options) { return runReporting(options, check); }},
    {"diff",
     "[--device PATH] [--wait SECONDS]\n        [--set FIELD=VALUE]... [--json] [DOCUMENT]",
     {"dwsj", Operands::kDocument},
     "Compares the part with the fields that DOCUMENT names.",
     [](const Options& options) { return runReporting(options, diff); }},
    {"write",
     "[--device PATH] [--wait SECONDS]\n        [--set FIELD=VALUE]... [--format] [-n|--dry-run] "
     "[--json] [DOCUMENT]",
     {"dwsfnj", Operands::kDocument},
     "Makes the part hold what DOCUMENT names.",
     [](const Options& options) { return runReporting(options, write); }},
    {"image",
     "[--set FIELD=VALUE]... -o FILE [DOCUMENT]",
     {"so", Operands::kDocument},
     "Makes the bytes of a new part.",
     [](const Options& options) { return runPlain(options, image); }},
};

std::string synopsis(const Command& command)
{
    return std::string("kestrel-record ") + command.name + " " + command.arguments + "\n";
}

std::string fieldHelp()
{
    constexpr size_t kWidth = 80;
    std::string text = "\nFields:\n";
    std::string line = " ";
    for (const Field& field : fieldTable()) {
        const std::string next = std::string(" ") + field.key;
        if (line.size() + next.size() > kWidth) {
            text += line + "\n";
            line = " ";
        }
        line += next;
    }
    return text + line + "\n";
}

} // namespace

const Command* findCommand(const std::string& name)
{
    for (const Command& command : kCommands) {
        if (name == command.name)
            return &command;
    }
    return nullptr;
}

std::string generalHelp()
{
    std::string text = "Reads, checks and writes the whole record of a board at once.\n\n";
    for (const Command& command : kCommands)
        text += synopsis(command) + "    " + command.purpose + "\n";
    return text + "kestrel-record --help | --version | COMMAND --help\n" + fieldHelp() +
           "\nDOCUMENT is a file, or - for standard input.\n"
           "See kestrel-record(1), and kestrel-record(5) for the document.\n";
}

std::string commandHelp(const Command& command)
{
    return synopsis(command) + "\n" + command.purpose + "\n\n" + optionHelp(command.syntax) +
           fieldHelp();
}

} // namespace kestrelRecord
