#include "platform/core/trust/ContentList.h"

#include <limits>

#include "platform/core/trust/Digests.h"
#include "platform/support/JsonObject.h"
#include "platform/support/JsonText.h"

namespace tavik {
namespace {

constexpr int kFormatVersion = 1;

ListedEntry readEntry(const JsonObject& object) {
    constexpr std::uint64_t kAny = std::numeric_limits<std::uint64_t>::max();
    object.allowOnly({"path", "size", "sha256", "executable"});
    ListedEntry entry;
    entry.path = object.neededText("path");
    entry.size = object.neededNumber("size", 0, kAny);
    entry.sha256 = object.neededText("sha256");
    if (!isDigestText(entry.sha256))
        object.complain("sha256", "is not 64 lower-case hexadecimal digits");
    entry.isExecutable = object.flag("executable").value_or(false);
    return entry;
}

}  // namespace

std::string listedPath(std::string_view path, bool isFolder) {
    std::string listed(path);
    if (isFolder)
        listed += '/';
    return listed;
}

std::string writeContentList(const std::vector<ListedEntry>& entries) {
    JsonText json;
    json.number("formatVersion", kFormatVersion);
    const auto write = [&](const ListedEntry& entry) {
        json.member("path", entry.path);
        json.number("size", static_cast<std::int64_t>(entry.size));
        json.member("sha256", entry.sha256);
        if (entry.isExecutable)
            json.boolean("executable", true);
    };
    json.objects("entries", entries, write, JsonText::Form::oneLine);
    return json.end();
}

std::vector<ListedEntry> parseContentList(std::string_view json, std::size_t limit) {
    const JsonDocument document = parseJson(json, {limit, 4});
    const JsonObject object(document, "$");
    object.allowOnly({"formatVersion", "entries"});
    object.neededNumber("formatVersion", kFormatVersion, kFormatVersion);
    const JsonValue& values = *object.neededArray("entries");
    std::vector<ListedEntry> entries;
    entries.reserve(values.Size());
    for (const auto& value : values.GetArray())
        entries.push_back(readEntry(object.entry("entries", value, entries.size())));
    return entries;
}

}  // namespace tavik
