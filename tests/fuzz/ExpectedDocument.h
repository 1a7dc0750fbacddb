#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

// What a document has to be taken for, worked out from its text alone. Knows nothing of the
// product's rules.
struct ExpectedDocument
{
    using Settings = std::vector<std::pair<std::string, std::string>>; // key and value

    ExpectedDocument(const std::optional<std::string>& text, const Settings& settings);

    // The keys that are wrong, and nothing where the text is no document. Empty: it is accepted.
    std::set<std::optional<std::string>> wrong;

    // Of an accepted document.
    int version = 0;                           // 0 if none is named
    std::map<std::string, std::string> values; // as a record shows them, without the version

private:
    void AddMisfits(const std::map<std::string, std::string>& all);
};
