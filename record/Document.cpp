#include "Document.h"

#include "ShownText.h"

#include <algorithm>
#include <memory>
#include <new>

namespace kestrelRecord {

namespace {

struct Release
{
    void operator()(json_t* value) const
    {
        json_decref(value);
    }
};

using Json = std::unique_ptr<json_t, Release>;
using Errors = std::vector<Error>;

// One kind of number is enough: a version of 1.0 is version 1.
constexpr size_t kNumbers = JSON_DECODE_INT_AS_REAL;

std::string messageOf(const json_error_t& error)
{
    return "line " + std::to_string(error.line) + ", column " + std::to_string(error.column) +
           ": " + shown(error.text);
}

Json newObject()
{
    Json object(json_object());
    if (!object)
        throw std::bad_alloc();
    return object;
}

Json parseObject(const std::string& text, Errors& errors)
{
    json_error_t error;
    // A zero byte in a text is refused with its field.
    constexpr size_t kFlags = kNumbers | JSON_REJECT_DUPLICATES | JSON_ALLOW_NUL;
    Json object(json_loadb(text.data(), text.size(), kFlags, &error));
    if (json_is_object(object.get()))
        return object;
    if (object)
        errors.push_back({std::nullopt, "line 1, column 1: the document must be a JSON object"});
    else if (json_error_code(&error) == json_error_out_of_memory)
        throw std::bad_alloc();
    else
        errors.push_back({std::nullopt, messageOf(error)});
    return newObject();
}

// Null, which no field takes, if value should be JSON and is not.
Json parseSetting(const Setting& setting)
{
    const Field* field = findField(setting.key);
    Json value;
    if (field == nullptr || field->isText)
        value.reset(json_stringn_nocheck(setting.value.data(), setting.value.size()));
    else
        value.reset(json_loadb(setting.value.data(), setting.value.size(),
                               kNumbers | JSON_DECODE_ANY, nullptr));
    return value ? std::move(value) : Json(json_null());
}

void apply(const std::vector<Setting>& settings, json_t* object)
{
    for (const Setting& setting : settings) {
        Json value = parseSetting(setting);
        if (json_object_set_new_nocheck(object, setting.key.c_str(), value.release()) != 0)
            throw std::bad_alloc();
    }
}

std::string refusal(const Field& field, const json_t* value)
{
    std::string message = std::string("must be ") + field.rule;
    if (json_is_string(value)) {
        const std::string text(json_string_value(value), json_string_length(value));
        message += ", not \"" + shownShort(text) + "\"";
    }
    return message;
}

ValueText checked(const Field& field, const json_t* value)
{
    ValueText text = field.check(value);
    const size_t room = std::max(field.room[0], field.room[1]);
    return text && text->size() <= room ? text : std::nullopt;
}

void addValue(Document& document, const char* key, const json_t* value, Errors& errors)
{
    const Field* field = findField(key);
    const ValueText text = field != nullptr ? checked(*field, value) : std::nullopt;
    if (field == nullptr)
        errors.push_back({key, "there is no such field"});
    else if (!text)
        errors.push_back({key, refusal(*field, value)});
    else if (field->key == std::string("version"))
        document.version = *text == "1" ? 1 : 2;
    else
        document.values.push_back({field, *text});
}

// What the version that is named cannot hold or, without one, why neither version can hold all.
void checkFit(const Document& document, Errors& errors)
{
    Errors found = misfits(document, document.version.value_or(1));
    if (!document.version && !found.empty()) {
        const Errors others = misfits(document, 2);
        if (others.empty())
            return;
        found.insert(found.end(), others.begin(), others.end());
        for (Error& error : found)
            error.message += ", and the other version does not take everything that is named";
    }
    errors.insert(errors.end(), found.begin(), found.end());
}

void checkVersion(const Document& document, bool isNamed, VersionIs versionIs, Errors& errors)
{
    if (!isNamed && versionIs == VersionIs::kRequired)
        errors.push_back({"version", "must be named"});
    // A version that is refused says nothing about the fields.
    if (document.version || !isNamed)
        checkFit(document, errors);
}

} // namespace

std::vector<Error> misfits(const Document& document, uint32_t version)
{
    Errors errors;
    for (const NamedValue& named : document.values) {
        const std::string reason = misfit(*named.field, named.value, version);
        if (!reason.empty())
            errors.push_back({named.field->key, reason});
    }
    return errors;
}

Document parseDocument(const std::optional<std::string>& text, const std::vector<Setting>& settings,
                       VersionIs versionIs)
{
    Errors errors;
    const Json object = text ? parseObject(*text, errors) : newObject();
    apply(settings, object.get());

    Document document;
    const char* key = nullptr;
    json_t* value = nullptr;
    json_object_foreach(object.get(), key, value) addValue(document, key, value, errors);
    checkVersion(document, json_object_get(object.get(), "version") != nullptr, versionIs, errors);
    if (!errors.empty())
        throw Failure(Status::kRefused, errors);
    return document;
}

} // namespace kestrelRecord
