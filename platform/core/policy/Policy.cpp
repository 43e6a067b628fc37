#include "platform/core/policy/Policy.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "platform/core/disk/SafeFolder.h"
#include "platform/core/status/Status.h"

namespace tavik {
namespace {

constexpr const char* kFileName = "policy.json";
constexpr std::size_t kMaxPolicyBytes = std::size_t{64} << 10;

constexpr std::uint64_t kMaxEntries = 1'000'000;
constexpr std::uint64_t kMaxBytes = std::uint64_t{1} << 40;
constexpr std::uint64_t kMaxManifestBytes = std::uint64_t{64} << 20;
constexpr unsigned kMaxManifestDepth = 256;
constexpr std::uint64_t kMaxRatio = 1'000'000;

// Whoever checks a package may multiply one limit with another.
constexpr std::uint64_t kMaxProduct = std::numeric_limits<std::uint64_t>::max() / kMaxBytes;
static_assert(kMaxEntries <= kMaxProduct && kMaxRatio <= kMaxProduct);

/// Where a limit goes, and how far it can be raised.
struct LimitMember {
    const char* name;
    std::uint64_t least;
    std::uint64_t most;
    void (*set)(PackageLimits& limits, std::uint64_t number);
};

constexpr LimitMember kLimitMembers[] = {
    {"entries", 1, kMaxEntries, [](PackageLimits& l, std::uint64_t n) { l.entries = n; }},
    {"totalBytes", 1, kMaxBytes, [](PackageLimits& l, std::uint64_t n) { l.totalBytes = n; }},
    {"fileBytes", 1, kMaxBytes, [](PackageLimits& l, std::uint64_t n) { l.fileBytes = n; }},
    {"ratio", 1, kMaxRatio, [](PackageLimits& l, std::uint64_t n) { l.ratio = n; }},
    {"graceBytes", 0, kMaxBytes, [](PackageLimits& l, std::uint64_t n) { l.graceBytes = n; }},
    {"manifestBytes", 1, kMaxManifestBytes,
     [](PackageLimits& l, std::uint64_t n) { l.manifest.bytes = static_cast<std::size_t>(n); }},
    {"manifestDepth", 1, kMaxManifestDepth,
     [](PackageLimits& l, std::uint64_t n) { l.manifest.depth = static_cast<unsigned>(n); }},
};

/// A misspelt rule would allow in silence what it was to forbid.
void requireKnown(const rapidjson::Value& object, const std::string& place,
                  bool (*isKnown)(std::string_view name)) {
    for (const auto& member : object.GetObject()) {
        const std::string_view name(member.name.GetString(), member.name.GetStringLength());
        if (!isKnown(name))
            throw JsonError(place + " has a member " + quoteJson(name) + " that nobody reads");
    }
}

bool isLimit(std::string_view name) {
    return std::any_of(std::begin(kLimitMembers), std::end(kLimitMembers),
                       [&](const LimitMember& member) { return name == member.name; });
}

bool isRule(std::string_view name) {
    return name == "requireSignature" || name == "limits";
}

PackageLimits readLimits(const rapidjson::Value& object) {
    if (!object.IsObject())
        throw JsonError("$.limits is not an object");
    requireKnown(object, "$.limits", isLimit);
    PackageLimits limits;
    for (const LimitMember& member : kLimitMembers) {
        const rapidjson::Value* value = findMember(object, member.name);
        if (value == nullptr)
            continue;
        if (!value->IsUint64() || value->GetUint64() < member.least ||
            value->GetUint64() > member.most)
            throw JsonError(std::string("$.limits.") + member.name +
                            " is not a whole number from " + std::to_string(member.least) + " to " +
                            std::to_string(member.most));
        member.set(limits, value->GetUint64());
    }
    return limits;
}

}  // namespace

Policy parsePolicy(std::string_view json) {
    const rapidjson::Document document = parseJson(json, {kMaxPolicyBytes, 8});
    if (!document.IsObject())
        throw JsonError("$ is not an object");
    requireKnown(document, "$", isRule);
    Policy policy;
    if (const rapidjson::Value* value = findMember(document, "requireSignature")) {
        if (!value->IsBool())
            throw JsonError("$.requireSignature is not true or false");
        policy.requireSignature = value->GetBool();
    }
    if (const rapidjson::Value* value = findMember(document, "limits"))
        policy.limits = readLimits(*value);
    return policy;
}

Policy loadPolicy(const std::string& familyFolder) {
    const FileDescriptor folder = openSafeFolder(familyFolder);
    if (!folder)
        return {};
    const std::string path = familyFolder + "/" + kFileName;
    const auto json =
        readSafeFile(folder.get(), kFileName, kMaxPolicyBytes, {path, Status::policyInvalid});
    if (!json)
        return {};
    try {
        return parsePolicy(*json);
    } catch (const JsonError& error) {
        fail(Status::policyInvalid, path, error.what());
    }
}

}  // namespace tavik
