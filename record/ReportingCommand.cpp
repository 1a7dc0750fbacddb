#include "ReportingCommand.h"

#include "StandardOutput.h"

#include <cstdio>

namespace kestrelRecord {

namespace {

void fail(Session& session, Status status, std::vector<Error> errors)
{
    Report& report = session.report;
    report.status = status;
    report.result = status == Status::kRefused || status == Status::kUnfit ? "refused" : "failed";
    const bool saysState = status == Status::kFailed || status == Status::kNotVerified;
    if (saysState && session.partState != nullptr)
        errors.back().message += std::string("; ") + session.partState;
    for (const Error& error : errors)
        fputs(errorLine(error).c_str(), stderr);
    report.errors.insert(report.errors.end(), errors.begin(), errors.end());
}

void attempt(Session& session, void (*work)(Session& session))
{
    try {
        work(session);
    } catch (const Failure& failure) {
        fail(session, failure.status, failure.errors);
    } catch (const std::exception& error) {
        fail(session, Status::kFailed, {{std::nullopt, error.what()}});
    }
}

void printReport(Session& session)
{
    const Report& report = session.report;
    if (session.options.json)
        printResult(reportAsJson(report));
    else if (report.errors.empty())
        printResult(reportAsLines(report));
}

} // namespace

void printResult(const std::string& text)
{
    try {
        fwrite(text.data(), 1, text.size(), stdout);
        flushStandardOutput();
    } catch (const std::exception& error) {
        throw Failure(Status::kFailed, std::string("cannot report: ") + error.what());
    }
}

int runPlain(const Options& options, void (*work)(Session& session))
{
    Session session{options};
    attempt(session, work);
    return static_cast<int>(session.report.status);
}

int runReporting(const Options& options, void (*work)(Session& session))
{
    Session session{options};
    attempt(session, work);
    const bool worked = session.report.errors.empty();
    const Status status = session.report.status;
    attempt(session, printReport);
    return static_cast<int>(worked ? session.report.status : status);
}

} // namespace kestrelRecord
