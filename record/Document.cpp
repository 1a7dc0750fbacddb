#include "Document.h"

#include "ShownText.h"

#include <algorithm>
#include <iterator>
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

std::string placed(long line, long column, const std::string& message)
{
    return "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + message;
}

bool beginsCharacter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xc0U) != 0x80U;
}

// jansson takes a zero byte after a number for nothing at all. Like it, this counts characters.
void refuseZeroByte(const std::string& text, Errors& errors)
{
    const size_t zero = text.find('\0');
    if (zero == std::string::npos)
        return;
    const auto begin = text.begin();
    const auto end = begin + static_cast<std::ptrdiff_t>(zero);
    const auto line = std::find(std::reverse_iterator(end), text.rend(), '\n').base();
    errors.push_back({std::nullopt, placed(std::count(begin, end, '\n') + 1,
                                           std::count_if(line, end, beginsCharacter) + 1,
                                           "a zero byte is not allowed")});
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
    refuseZeroByte(text, errors);
    if (!errors.empty())
        return newObject();
    json_error_t error;
    // The escaped zero in a text is refused with its field.
    constexpr size_t kFlags = kNumbers | JSON_REJECT_DUPLICATES | JSON_ALLOW_NUL;
    Json object(json_loadb(text.data(), text.size(), kFlags, &error));
    if (json_is_object(object.get()))
        return object;
    if (object)
        errors.push_back({std::nullopt, placed(1, 1, "the document must be a JSON object")});
    else if (json_error_code(&error) == json_error_out_of_memory)
        throw std::bad_alloc();
    else
        errors.push_back({std::nullopt, placed(error.line, error.column, shown(error.text))});
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
    const bool isString = json_is_string(value);
    std::string message = "must be ";
    message += (field.isText && !isString ? "a string: " : "") + std::string(field.rule);
    if (isString) {
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

// A field with a bad value counts where the versions are checked.
void addValue(Document& document, const char* key, const json_t* value, Errors& errors)
{
    const Field* field = findField(key);
    if (field == nullptr) {
        errors.push_back({key, "there is no such field"});
        return;
    }
    const ValueText text = checked(*field, value);
    if (!text)
        errors.push_back({key, refusal(*field, value)});
    if (field != findField("version"))
        document.values.push_back({field, text.value_or("")});
    else if (text)
        document.version = *text == "1" ? 1 : 2;
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
    // What cannot be read may name the version.
    if (!errors.empty())
        versionIs = VersionIs::kOptional;
    apply(settings, object.get());

    Document document;
    for (void* i = json_object_iter(object.get()); i != nullptr;
         i = json_object_iter_next(object.get(), i))
        addValue(document, json_object_iter_key(i), json_object_iter_value(i), errors);
    checkVersion(document, json_object_get(object.get(), "version") != nullptr, versionIs, errors);
    if (!errors.empty())
        throw Failure(Status::kRefused, errors);
    return document;
}

} // namespace kestrelRecord
