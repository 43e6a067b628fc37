#include "platform/core/session/StateFile.h"

#include <initializer_list>
#include <set>

#include "platform/core/package/Manifest.h"
#include "platform/core/status/Status.h"
#include "platform/core/trust/Digests.h"
#include "platform/support/JsonObject.h"

namespace tavik {
namespace {

constexpr JsonLimits kLimits{std::size_t{8} << 20, 8};
constexpr int kFormatVersion = 1;

/// Null where the member is missing or null.
const JsonValue* given(const JsonObject& entry, std::string_view name) {
    const JsonValue* value = entry.find(name);
    return value == nullptr || value->IsNull() ? nullptr : value;
}

std::string textOf(const JsonObject& entry, std::string_view name) {
    return given(entry, name) == nullptr ? "" : entry.neededText(name);
}

std::optional<Version> versionOf(const JsonObject& entry, std::string_view name) {
    const std::string text = textOf(entry, name);
    auto version = Version::parse(text);
    if (!text.empty() && !version)
        entry.complain(name, "is no version");
    return version;
}

std::string digestOf(const JsonObject& entry) {
    const std::string text = textOf(entry, "sha256");
    const auto digest = parseDigest(text);
    if (!text.empty() && !digest)
        entry.complain("sha256", "is not 64 hexadecimal digits");
    return digest.value_or("");
}

void readState(WantedExtension& wanted, const JsonObject& entry) {
    const std::string state = textOf(entry, "state");
    if (state == "disabled")
        wanted.state = ExtensionState::disabled;
    else if (state == "masked")
        wanted.isMasked = true;
    else if (!state.empty() && state != "enabled")
        entry.complain("state", "is none of \"enabled\", \"disabled\" and \"masked\"");
    if (wanted.isMasked && wanted.scope == Scope::user)
        entry.complain("state", "is \"masked\" without \"allUsers\"");
}

WantedExtension readEntry(const JsonObject& entry, const std::string& place) {
    entry.allowOnly({"id", "version", "minVersion", "source", "sha256", "state", "allUsers"});
    WantedExtension wanted;
    wanted.id = entry.neededText("id");
    if (!isExtensionId(wanted.id))
        entry.complain("id", "is no extension id");
    wanted.version = versionOf(entry, "version");
    wanted.minVersion = versionOf(entry, "minVersion");
    if (wanted.version && wanted.minVersion)
        throw JsonError(place + " has both version and minVersion");
    wanted.source = textOf(entry, "source");
    wanted.sha256 = digestOf(entry);
    if (const JsonValue* all = given(entry, "allUsers")) {
        if (!all->IsBool())
            entry.complain("allUsers", "is not true or false");
        wanted.scope = all->GetBool() ? Scope::shared : Scope::user;
    }
    readState(wanted, entry);
    return wanted;
}

/// A state that was frozen while a store could not be read lacks that store's extensions, and
/// pruning by it would remove them.
void requireWhole(const JsonObject& state) {
    const JsonValue* failures = given(state, "failures");
    if (failures != nullptr && !(failures->IsArray() && failures->Empty()))
        state.complain("failures", "is not empty: this state was not read whole");
}

std::vector<WantedExtension> readEntries(std::string_view text) {
    const JsonDocument document = parseJson(text, kLimits);
    const JsonObject state(document, "$");
    state.neededNumber("formatVersion", kFormatVersion, kFormatVersion);
    state.allowOnly({"formatVersion", "extensions", "failures"});
    requireWhole(state);
    const JsonValue* entries = state.neededArray("extensions");
    std::vector<WantedExtension> all;
    std::set<std::pair<Scope, std::string>> known;
    for (const auto& entry : entries->GetArray()) {
        const std::string place = entryPlace("$.extensions", all.size());
        all.push_back(readEntry(JsonObject(entry, place), place));
        if (!known.emplace(all.back().scope, toIdKey(all.back().id)).second)
            throw JsonError(place + ".id is there twice");
    }
    return all;
}

}  // namespace

std::vector<WantedExtension> parseStateFile(std::string_view text, const std::string& path) try {
    return readEntries(text);
} catch (const JsonError& error) {
    fail(Status::stateFileInvalid, path, error.what());
}

}  // namespace tavik
