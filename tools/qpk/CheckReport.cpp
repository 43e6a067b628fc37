#include "tools/qpk/CheckReport.h"

#include <optional>

#include "platform/support/JsonText.h"
#include "tools/qpk/ManifestPlaces.h"

namespace tavik::qpk {
namespace {

constexpr int kFormatVersion = 1;

void writePosition(JsonText& json, const std::optional<TextPosition>& position) {
    if (position) {
        json.number("line", static_cast<std::int64_t>(position->line));
        json.number("column", static_cast<std::int64_t>(position->column));
        return;
    }
    json.optional("line", "");
    json.optional("column", "");
}

void writeFault(JsonText& json, const Fault& fault, const std::optional<ManifestPlaces>& places) {
    json.optional("place", fault.place);
    json.optional("member", fault.member);
    const bool isOfManifest = fault.place == kManifestPath && places;
    writePosition(json, isOfManifest ? std::optional(places->of(fault.member)) : std::nullopt);
    json.number("status", static_cast<int>(fault.status));
    json.member("name", statusName(fault.status));
    json.member("text", fault.text);
}

void writePackage(JsonText& json, const CheckedPackage& package) {
    json.member("path", package.path);
    json.optional("id", package.id);
    json.optional("version", package.version);
    std::optional<ManifestPlaces> places;
    if (!package.manifest.empty())
        places.emplace(package.manifest);
    json.objects("faults", package.faults,
                 [&](const Fault& fault) { writeFault(json, fault, places); });
}

void writeFailure(JsonText& json, const Explanation& failure) {
    json.member("subject", failure.subject);
    json.number("status", failure.status);
    json.optional("name", failure.name);
    json.member("cause", failure.cause);
    json.optional("remedy", failure.remedy);
}

}  // namespace

std::string writeCheckReport(const std::vector<CheckedPackage>& packages,
                             const std::vector<Explanation>& failures) {
    JsonText json;
    json.number("formatVersion", kFormatVersion);
    json.objects("packages", packages,
                 [&](const CheckedPackage& package) { writePackage(json, package); });
    json.objects("failures", failures,
                 [&](const Explanation& failure) { writeFailure(json, failure); });
    return json.end();
}

}  // namespace tavik::qpk
