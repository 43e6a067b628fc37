#include "tools/qpk/CheckReport.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <optional>

#include "tools/qpk/ManifestPlaces.h"

namespace tavik::qpk {
namespace {

constexpr int kFormatVersion = 1;

/// The text with bytes replaced that are no UTF-8: names of files may have them, JSON may not.
using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

void text(Writer& json, const char* member, const std::string& value) {
    json.Key(member);
    json.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
}

void textOrNull(Writer& json, const char* member, const std::string& value) {
    if (!value.empty())
        return text(json, member, value);
    json.Key(member);
    json.Null();
}

void number(Writer& json, const char* member, std::size_t value) {
    json.Key(member);
    json.Uint64(value);
}

void writeStatus(Writer& json, int status) {
    json.Key("status");
    json.Int(status);
}

void writePosition(Writer& json, const std::optional<TextPosition>& position) {
    if (position) {
        number(json, "line", position->line);
        number(json, "column", position->column);
        return;
    }
    textOrNull(json, "line", "");
    textOrNull(json, "column", "");
}

void writeFault(Writer& json, const Fault& fault, const std::optional<ManifestPlaces>& places) {
    json.StartObject();
    textOrNull(json, "place", fault.place);
    textOrNull(json, "member", fault.member);
    const bool isOfManifest = fault.place == kManifestPath && places;
    writePosition(json, isOfManifest ? std::optional(places->of(fault.member)) : std::nullopt);
    writeStatus(json, static_cast<int>(fault.status));
    text(json, "name", statusName(fault.status));
    text(json, "text", fault.text);
    json.EndObject();
}

void writePackage(Writer& json, const CheckedPackage& package) {
    json.StartObject();
    text(json, "path", package.path);
    textOrNull(json, "id", package.id);
    textOrNull(json, "version", package.version);
    json.Key("faults");
    json.StartArray();
    std::optional<ManifestPlaces> places;
    if (!package.manifest.empty())
        places.emplace(package.manifest);
    for (const Fault& fault : package.faults)
        writeFault(json, fault, places);
    json.EndArray();
    json.EndObject();
}

void writeFailure(Writer& json, const Explanation& failure) {
    json.StartObject();
    text(json, "subject", failure.subject);
    writeStatus(json, failure.status);
    textOrNull(json, "name", failure.name);
    text(json, "cause", failure.cause);
    textOrNull(json, "remedy", failure.remedy);
    json.EndObject();
}

}  // namespace

std::string writeCheckReport(const std::vector<CheckedPackage>& packages,
                             const std::vector<Explanation>& failures) {
    rapidjson::StringBuffer buffer;
    Writer json(buffer);
    json.SetIndent(' ', 2);
    json.StartObject();
    json.Key("formatVersion");
    json.Int(kFormatVersion);
    json.Key("packages");
    json.StartArray();
    for (const CheckedPackage& package : packages)
        writePackage(json, package);
    json.EndArray();
    json.Key("failures");
    json.StartArray();
    for (const Explanation& failure : failures)
        writeFailure(json, failure);
    json.EndArray();
    json.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

}  // namespace tavik::qpk
