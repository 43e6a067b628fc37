#include "platform/core/trust/ContentList.h"

#include <algorithm>
#include <initializer_list>

#include "platform/support/Json.h"

namespace tavik {
namespace {

constexpr int kFormatVersion = 1;
constexpr std::size_t kDigestDigits = 64;

void requireKnown(const rapidjson::Value& object, const std::string& place,
                  std::initializer_list<std::string_view> known) {
    if (!object.IsObject())
        throw JsonError(place + " is not an object");
    for (const auto& member : object.GetObject()) {
        const std::string_view name(member.name.GetString(), member.name.GetStringLength());
        if (std::find(known.begin(), known.end(), name) == known.end())
            throw JsonError(place + " has an unknown member \"" + std::string(name) + "\"");
    }
}

ListedEntry readEntry(const rapidjson::Value& value, const std::string& place) {
    requireKnown(value, place, {"path", "size", "sha256", "executable"});
    ListedEntry entry;
    entry.path = requiredText(value, "path", place);
    const rapidjson::Value* size = findMember(value, "size");
    if (size == nullptr || !size->IsUint64())
        throw JsonError(place + ".size is not a whole number");
    entry.size = size->GetUint64();
    entry.sha256 = requiredText(value, "sha256", place);
    if (entry.sha256.size() != kDigestDigits ||
        entry.sha256.find_first_not_of("0123456789abcdef") != std::string::npos)
        throw JsonError(place + ".sha256 is not 64 lower-case hexadecimal digits");
    if (const rapidjson::Value* executable = findMember(value, "executable")) {
        if (!executable->IsBool())
            throw JsonError(place + ".executable is not true or false");
        entry.isExecutable = executable->GetBool();
    }
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
    std::string json =
        "{\n  \"formatVersion\": " + std::to_string(kFormatVersion) + ",\n  \"entries\": [";
    const char* separator = "\n";
    for (const ListedEntry& entry : entries) {
        json += std::string(separator) + "    { \"path\": " + quoteJson(entry.path) +
                ", \"size\": " + std::to_string(entry.size) + ", \"sha256\": \"" + entry.sha256 +
                '"' + (entry.isExecutable ? ", \"executable\": true }" : " }");
        separator = ",\n";
    }
    return json + "\n  ]\n}\n";
}

std::vector<ListedEntry> parseContentList(std::string_view json, std::size_t limit) {
    const rapidjson::Document document = parseJson(json, {limit, 4});
    requireKnown(document, "$", {"formatVersion", "entries"});
    const rapidjson::Value* format = findMember(document, "formatVersion");
    if (format == nullptr || !format->IsInt() || format->GetInt() != kFormatVersion)
        throw JsonError("$.formatVersion is not " + std::to_string(kFormatVersion));
    const rapidjson::Value* values = findMember(document, "entries");
    if (values == nullptr || !values->IsArray())
        throw JsonError("$.entries is not an array");
    std::vector<ListedEntry> entries;
    entries.reserve(values->Size());
    for (const auto& value : values->GetArray())
        entries.push_back(readEntry(value, "$.entries[" + std::to_string(entries.size()) + "]"));
    return entries;
}

}  // namespace tavik
