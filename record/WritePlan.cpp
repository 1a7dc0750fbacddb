#include "WritePlan.h"

#include "Failure.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

namespace kestrelRecord {

namespace {

void checkRoom(const Document& document, uint32_t version)
{
    std::vector<Error> errors = misfits(document, version);
    if (!errors.empty())
        throw Failure(Status::kUnfit, errors);
}

// Every field of the version but the version itself, which the size of the part gives.
void checkComplete(const Document& document, uint32_t version, const std::string& reason)
{
    std::vector<Error> errors = {
        {std::nullopt, reason + ", so every field must be named, or --format given"}};
    for (const Field& field : fieldTable()) {
        const auto names = [&field](const NamedValue& named) { return named.field == &field; };
        const auto& values = document.values;
        const bool named = std::any_of(values.begin(), values.end(), names);
        if (isIn(field, version) && !named && field.key != std::string("version"))
            errors.push_back({field.key, "not named"});
    }
    if (errors.size() > 1)
        throw Failure(Status::kUnfit, errors);
}

// A field that shows the value already is left as it is, with whatever follows the end of a text.
void setFields(MemoryRecord& record, const Document& document)
{
    for (const auto& [field, value] : document.values) {
        if (field->read(record) != value && field->set(record, value) != 0)
            throw std::logic_error(std::string(field->key) + " was refused by the record");
    }
}

uint32_t versionFor(const Document& document, const std::optional<uint32_t>& held,
                    const PartBytes& part)
{
    const bool small = part.size() == kSmallPartBytes;
    const uint32_t version = document.version.value_or(held.value_or(small ? 1 : 2));
    if (version == 2 && small)
        throw Failure(Status::kUnfit, {{"version", "version 2 needs a part of 2048 bytes"}});
    checkRoom(document, version);
    return version;
}

std::string reasonToNameAll(const std::string& damage, uint32_t version)
{
    return "the part holds no intact record" +
           (damage.empty() ? " of version " + std::to_string(version) : ": " + damage);
}

} // namespace

ByteRange rangeToWrite(const PartBytes& before, const PartBytes& after, uint32_t crcEnd)
{
    const auto first = std::mismatch(before.begin(), before.end(), after.begin()).first;
    if (first == before.end())
        return {};
    const auto last = std::mismatch(before.rbegin(), before.rend(), after.rbegin()).first;
    const auto begin = static_cast<size_t>(first - before.begin());
    const auto end = static_cast<size_t>(last.base() - before.begin());
    return {begin, begin < crcEnd ? std::max<size_t>(end, crcEnd) : end};
}

WritePlan planWrite(const Document& document, bool format, const PartBytes& part)
{
    const MemoryRecord before(part);
    const std::string damage = before.damage();
    const auto held = damage.empty() ? std::optional(before.version()) : std::nullopt;
    const uint32_t version = versionFor(document, held, part);
    const bool comparable = held == version;

    MemoryRecord after(part);
    if (format || !comparable) {
        if (!format)
            checkComplete(document, version, reasonToNameAll(damage, version));
        after.Format(version);
    }
    setFields(after, document);
    const PartBytes bytes = after.bytes();
    return {version, bytes, rangeToWrite(part, bytes, after.crcEnd()),
            compareRecords(comparable ? &before : nullptr, after)};
}

Comparison compareWithDocument(const Document& document, const PartBytes& part)
{
    const MemoryRecord before(part);
    const std::string damage = before.damage();
    if (!damage.empty())
        throw Failure(Status::kUnfit, "the part holds no intact record: " + damage);

    const uint32_t version = document.version.value_or(before.version());
    if (version != before.version())
        return {
            true,
            {{findField("version"), std::to_string(before.version()), std::to_string(version)}}};
    checkRoom(document, version);
    MemoryRecord after(part);
    setFields(after, document);
    return compareRecords(&before, after);
}

std::vector<uint8_t> makeImage(const Document& document)
{
    const bool small = document.version == 1U;
    MemoryRecord record(PartBytes(small ? kSmallPartBytes : kLargePartBytes));
    record.Format(document.version.value());
    setFields(record, document);
    std::vector<uint8_t> image = record.bytes();
    image.resize(small ? kSmallPartBytes : vantorBoardSupport::kMirrorCapacity, 0xff);
    return image;
}

} // namespace kestrelRecord
