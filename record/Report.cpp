#include "Report.h"

#include "ShownText.h"

#include <cstdlib>
#include <jansson.h>

namespace kestrelRecord {

namespace {

template <typename Items, typename ItemText> std::string joined(const Items& items, ItemText text)
{
    std::string result;
    for (const auto& item : items)
        result += (result.empty() ? "" : ", ") + text(item);
    return result;
}

std::string keyOf(const Change& change)
{
    return quoted(change.field->key);
}

std::string values(const Comparison& comparison, std::string Change::*value)
{
    return "{" +
           joined(comparison.changes,
                  [value](const Change& change) {
                      return keyOf(change) + ": " + asJson(*change.field, change.*value);
                  }) +
           "}";
}

// The very key of a document, which is valid UTF-8; other bytes like any others.
std::string asJson(const std::string& field)
{
    json_t* key = json_stringn(field.data(), field.size());
    char* text = json_dumps(key, JSON_ENCODE_ANY | JSON_ENSURE_ASCII);
    std::string json = text != nullptr ? text : quoted(field);
    free(text);
    json_decref(key);
    return json;
}

std::string errorAsJson(const Error& error)
{
    return "{\"field\": " + (error.field ? asJson(*error.field) : "null") +
           ", \"message\": " + quoted(error.message) + "}";
}

} // namespace

std::string reportAsLines(const Report& report)
{
    std::string lines;
    for (const Change& change : report.comparison.changes) {
        const bool hasBefore = report.comparison.hasBefore;
        lines += std::string(change.field->key) + ": " +
                 (hasBefore ? shownShort(change.before) + " " : "") + "-> " +
                 shownShort(change.after) + "\n";
    }
    return lines + report.result + "\n";
}

std::string reportAsJson(const Report& report)
{
    const Comparison& comparison = report.comparison;
    return "{\"result\": " + quoted(report.result) +
           ", \"status\": " + std::to_string(static_cast<int>(report.status)) +
           ", \"version\": " + (report.version ? std::to_string(*report.version) : "null") +
           ", \"changed\": [" + joined(comparison.changes, keyOf) + "]" + ", \"before\": " +
           (comparison.hasBefore ? values(comparison, &Change::before) : "null") +
           ", \"after\": " + values(comparison, &Change::after) + ", \"errors\": [" +
           joined(report.errors, errorAsJson) + "]}\n";
}

std::string errorLine(const Error& error)
{
    const std::string field = error.field ? shownShort(*error.field) + ": " : "";
    return "kestrel-record: " + field + error.message + "\n";
}

} // namespace kestrelRecord
