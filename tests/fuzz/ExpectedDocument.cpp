#include "ExpectedDocument.h"

#include "Expect.h"
#include "StrictJson.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <regex.h>

namespace {

constexpr const char* kMac = "^[0-9a-fA-F][02468aceACE](:[0-9a-fA-F]{2}){5}$";
constexpr const char* kDate = "^20(1[3-9]|[2-9][0-9])(-[0-9]{2}){2} [0-9]{2}(:[0-9]{2}){2}$";
constexpr const char* kId = "^0x[0-9a-fA-F]{16}$";
constexpr const char* kRevision = "^[ -~]{3}$";

// The key of each text, what it has to look like, and the versions that have it.
struct TextRule
{
    const char* key;
    const char* form;
    std::set<int> versions = {1, 2};
};

const std::array<TextRule, 17> kTextRules = {{
    {"mac1", kMac},
    {"mac2", kMac},
    {"mac3", kMac},
    {"mac4", kMac},
    {"usb_local_mac", kMac, {2}},
    {"usb_host_mac", kMac, {2}},
    {"productiondate", kDate},
    {"servicedate", kDate},
    {"type", "^0x[0-9a-fA-F]{1,4}$"},
    {"hardware_rev", kRevision},
    {"pcb_rev", kRevision},
    {"pcb_ser_num", "^[ -~]{0,36}$"},
    {"ser_num", "^[ -~]{0,13}$"},
    {"entity_id", kId},
    {"entity_model_id", kId},
    {"ari", "^0x105[cC]8[0-9a-fA-F]{3}$", {2}},
    {"block8", "^[0-9a-fA-F]{16}$", {1}},
}};

const std::set<std::string> kAsTyped = {"hardware_rev", "pcb_rev", "pcb_ser_num", "ser_num"};

class Pattern
{
public:
    explicit Pattern(const char* form)
    {
        Expect(regcomp(&compiled, form, REG_EXTENDED | REG_NOSUB) == 0, form);
    }
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;

    ~Pattern()
    {
        regfree(&compiled);
    }

    bool Matches(const std::string& text) const
    {
        return text.find('\0') == std::string::npos &&
               regexec(&compiled, text.c_str(), 0, nullptr, 0) == 0;
    }

private:
    regex_t compiled{};
};

bool Matches(const std::string& text, const char* form)
{
    static std::map<const char*, Pattern> patterns;
    return patterns.try_emplace(form, form).first->second.Matches(text);
}

// A date that does not exist comes back from the calendar as another one.
bool Exists(const std::string& date)
{
    constexpr const char* kForm = "%Y-%m-%d %H:%M:%S";
    std::tm parts{};
    std::sscanf(date.c_str(), "%d-%d-%d %d:%d:%d", &parts.tm_year, &parts.tm_mon, &parts.tm_mday,
                &parts.tm_hour, &parts.tm_min, &parts.tm_sec);
    parts.tm_year -= 1900;
    parts.tm_mon -= 1;
    timegm(&parts);
    std::array<char, 40> again{};
    std::strftime(again.data(), again.size(), kForm, &parts);
    return date == again.data();
}

std::string Canonical(const std::string& key, std::string text)
{
    if (kAsTyped.count(key) != 0)
        return text;
    for (char& character : text)
        character = character >= 'A' && character <= 'F' ? static_cast<char>(character - 'A' + 'a')
                                                         : character;
    while (key == "type" && text.size() > 3 && text[2] == '0')
        text.erase(2, 1);
    return text;
}

const TextRule* RuleOf(const std::string& key)
{
    const auto* const rule = std::find_if(kTextRules.begin(), kTextRules.end(),
                                          [&key](const auto& one) { return one.key == key; });
    return rule == kTextRules.end() ? nullptr : rule;
}

using Text = std::optional<std::string>;

Text StringValue(const TextRule& rule, const Json& value)
{
    if (!value.is_string())
        return std::nullopt;
    const std::string text = value.get<std::string>();
    if (!Matches(text, rule.form))
        return std::nullopt;
    if (rule.form == kMac && text.find_first_not_of("0:") == std::string::npos)
        return std::nullopt;
    if (rule.form == kDate && !Exists(text))
        return std::nullopt;
    return Canonical(rule.key, text);
}

// The text of each of the 101 numbers that a calibration value may be.
const std::map<double, std::string>& Decibels()
{
    static const std::map<double, std::string> decibels = [] {
        std::map<double, std::string> all;
        for (int tenths = -50; tenths <= 50; ++tenths) {
            const std::string sign = tenths < 0 ? "-" : "";
            const std::string whole = sign + std::to_string(std::abs(tenths) / 10);
            const std::string text = whole + "." + std::to_string(std::abs(tenths) % 10);
            all[std::strtod(text.c_str(), nullptr)] = tenths % 10 == 0 ? whole : text;
        }
        return all;
    }();
    return decibels;
}

Text CalibrationValue(const Json& value)
{
    if (!value.is_array() || value.size() != 8)
        return std::nullopt;
    std::string text;
    for (const Json& element : value) {
        if (!element.is_number())
            return std::nullopt;
        const auto place = Decibels().find(element.get<double>());
        if (place == Decibels().end())
            return std::nullopt;
        text += (text.empty() ? "[" : ", ") + place->second;
    }
    return text + "]";
}

Text VersionValue(const Json& value)
{
    if (value == 1)
        return "1";
    return value == 2 ? Text("2") : std::nullopt;
}

Text ExpectedValue(const std::string& key, const Json& value)
{
    if (key == "version")
        return VersionValue(value);
    if (key == "aio_calibration")
        return CalibrationValue(value);
    const TextRule* rule = RuleOf(key);
    return rule != nullptr ? StringValue(*rule, value) : std::nullopt;
}

bool IsField(const std::string& key)
{
    return key == "version" || key == "aio_calibration" || RuleOf(key) != nullptr;
}

// A value that is refused has none, and no length: only its key counts.
std::set<int> VersionsFor(const std::string& key, const std::string& value)
{
    if (key == "version")
        return {1, 2};
    const bool isLong = key == "pcb_ser_num" && value.size() > 12;
    if (isLong || key == "aio_calibration")
        return {2};
    return RuleOf(key)->versions;
}

Json SettingValue(const std::string& key, const std::string& text)
{
    return key == "version" || key == "aio_calibration" ? ParseJson(text) : Json(text);
}

// With no version named: the versions that take all that has one version only.
std::set<int> PossibleVersions(const std::map<std::string, std::string>& values)
{
    std::set<int> possible = {1, 2};
    for (const auto& [key, value] : values) {
        const std::set<int> versions = VersionsFor(key, value);
        for (const int version : {1, 2}) {
            if (versions.count(version) == 0)
                possible.erase(version);
        }
    }
    return possible;
}

} // namespace

ExpectedDocument::ExpectedDocument(const std::optional<std::string>& text, const Settings& settings)
{
    Json members = text ? ParseJson(*text) : Json::object();
    if (!members.is_object()) {
        wrong.insert(std::nullopt);
        members = Json::object();
    }
    for (const auto& [key, value] : settings)
        members[key] = SettingValue(key, value);

    std::map<std::string, std::string> all;
    for (const auto& [key, member] : members.items()) {
        const Text value = ExpectedValue(key, member);
        if (value)
            values[key] = *value;
        else
            wrong.insert(key);
        if (IsField(key))
            all[key] = value.value_or("");
    }
    if (values.count("version") != 0)
        version = values["version"] == "1" ? 1 : 2;
    values.erase("version");
    if (wrong.count("version") == 0)
        AddMisfits(all);
}

void ExpectedDocument::AddMisfits(const std::map<std::string, std::string>& all)
{
    if (version == 0 && !PossibleVersions(all).empty())
        return;
    for (const auto& [key, value] : all) {
        const std::set<int> versions = VersionsFor(key, value);
        if (version == 0 ? versions.size() == 1 : versions.count(version) == 0)
            wrong.insert(key);
    }
}
