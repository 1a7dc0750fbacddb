#include "StrictJson.h"

#include <set>
#include <vector>

namespace {

// What the product refuses and this library takes:
//   - a byte order mark before the text: JSON does not begin with one; this library skips it
//   - a zero byte: no part of JSON; this library takes it for the end of the text
//   - a zero byte that is escaped, in a key: keys end at one in the product's library
//   - a key twice in an object: which value is meant is not clear; this library takes the last
//   - a value inside 2048 others: the product's library would run out of stack some day
// The rest is the same: UTF-8 is checked, halves of surrogate pairs and numbers too large for a
// double are refused, those too small are 0, and nothing but blanks follows.

bool IsRefusedAtOnce(const std::string& text)
{
    return text.rfind("\xEF\xBB\xBF", 0) == 0 || text.find('\0') != std::string::npos;
}

// Follows the parser through the text.
class Refusals
{
    static constexpr int kDepthLimit = 2048;

public:
    void See(int depth, Json::parse_event_t event, const Json& parsed)
    {
        found = found || depth >= kDepthLimit;
        if (event == Json::parse_event_t::object_start)
            keys.emplace_back();
        else if (event == Json::parse_event_t::object_end)
            keys.pop_back();
        else if (event == Json::parse_event_t::key)
            SeeKey(parsed.get<std::string>());
    }

    bool Found() const
    {
        return found;
    }

private:
    void SeeKey(const std::string& key)
    {
        const bool isNew = keys.back().insert(key).second;
        found = found || !isNew || key.find('\0') != std::string::npos;
    }

    bool found = false;
    std::vector<std::set<std::string>> keys; // of each object that has not ended yet
};

} // namespace

Json ParseJson(const std::string& text)
{
    const Json none(Json::value_t::discarded);
    if (IsRefusedAtOnce(text))
        return none;
    Refusals refusals;
    const auto see = [&refusals](int depth, Json::parse_event_t event, const Json& parsed) {
        refusals.See(depth, event, parsed);
        return true;
    };
    constexpr bool kThrows = false;
    Json value = Json::parse(text, see, kThrows);
    return refusals.Found() ? none : value;
}
