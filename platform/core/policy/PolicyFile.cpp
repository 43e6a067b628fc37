#include "platform/core/policy/PolicyFile.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "platform/core/package/Manifest.h"
#include "platform/support/Json.h"

namespace tavik {
namespace {

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

void requireKnown(const rapidjson::Value& object, const std::string& place,
                  bool (*isKnown)(std::string_view name)) {
    for (const auto& member : object.GetObject()) {
        const std::string_view name(member.name.GetString(), member.name.GetStringLength());
        if (!isKnown(name))
            throw JsonError(place + " has an unknown member " + quoteJson(name));
    }
}

bool isLimit(std::string_view name) {
    return std::any_of(std::begin(kLimitMembers), std::end(kLimitMembers),
                       [&](const LimitMember& member) { return name == member.name; });
}

bool isRule(std::string_view name) {
    constexpr std::string_view kRules[] = {"requireSignature", "limits", "allow", "deny", "feeds",
                                           "redirects"};
    return std::find(std::begin(kRules), std::end(kRules), name) != std::end(kRules);
}

std::map<std::string, std::uint64_t> readLimits(const rapidjson::Value& object) {
    if (!object.IsObject())
        throw JsonError("$.limits is not an object");
    requireKnown(object, "$.limits", isLimit);
    std::map<std::string, std::uint64_t> limits;
    for (const LimitMember& member : kLimitMembers) {
        const rapidjson::Value* value = findMember(object, member.name);
        if (value == nullptr)
            continue;
        if (!value->IsUint64() || value->GetUint64() < member.least ||
            value->GetUint64() > member.most)
            throw JsonError(std::string("$.limits.") + member.name +
                            " is not a whole number from " + std::to_string(member.least) + " to " +
                            std::to_string(member.most));
        limits[member.name] = value->GetUint64();
    }
    return limits;
}

/// The texts of an array, each with its place.
template <class Read>
auto readList(const rapidjson::Value& value, const std::string& place, Read read) {
    if (!value.IsArray())
        throw JsonError(place + " is not an array");
    std::vector<decltype(read(std::string(), std::string()))> list;
    for (const auto& each : value.GetArray()) {
        const std::string here = place + "[" + std::to_string(list.size()) + "]";
        if (!each.IsString())
            throw JsonError(here + " is not a string");
        list.push_back(read(std::string(each.GetString(), each.GetStringLength()), here));
    }
    return list;
}

/// "com.example.brushes", "com.example.*" or "*", in lower case.
std::string readIdPattern(const std::string& text, const std::string& place) {
    std::string beginning = text;
    const bool isOpen = !text.empty() && text.back() == '*';
    if (isOpen)
        beginning.pop_back();
    // A beginning may end where no id may: in a dot. With a letter behind it, it is an id.
    if (!isExtensionId(isOpen ? beginning + "x" : beginning))
        throw JsonError(place + " " + quoteJson(text) +
                        " is no extension id, and no beginning of one with a * behind it");
    return toIdKey(text);
}

AddressPrefix readPrefix(const std::string& text, const std::string& place) try {
    return AddressPrefix::parse(text);
} catch (const AddressError& error) {
    throw JsonError(place + " " + error.what());
}

std::vector<Redirect> readRedirects(const rapidjson::Value& value) {
    if (!value.IsObject())
        throw JsonError("$.redirects is not an object");
    std::vector<Redirect> redirects;
    for (const auto& member : value.GetObject()) {
        const std::string from(member.name.GetString(), member.name.GetStringLength());
        const std::string place = "$.redirects[" + quoteJson(from) + "]";
        if (!member.value.IsString())
            throw JsonError(place + " is not a string");
        const std::string to(member.value.GetString(), member.value.GetStringLength());
        redirects.push_back({readPrefix(from, place), readPrefix(to, place)});
        if (redirects.back().from.isFolder() != redirects.back().to.isFolder())
            throw JsonError(place + ": either both addresses end in a slash, or none");
    }
    // The one that says most about an address goes first.
    std::stable_sort(redirects.begin(), redirects.end(), [](const Redirect& a, const Redirect& b) {
        return a.from.text().size() > b.from.text().size();
    });
    return redirects;
}

}  // namespace

PolicyFile parsePolicyFile(std::string_view json) {
    const rapidjson::Document document = parseJson(json, {kMaxPolicyBytes, 8});
    if (!document.IsObject())
        throw JsonError("$ is not an object");
    requireKnown(document, "$", isRule);
    PolicyFile file;
    if (const rapidjson::Value* value = findMember(document, "requireSignature")) {
        if (!value->IsBool())
            throw JsonError("$.requireSignature is not true or false");
        file.requireSignature = value->GetBool();
    }
    if (const rapidjson::Value* value = findMember(document, "limits"))
        file.limits = readLimits(*value);
    if (const rapidjson::Value* value = findMember(document, "allow"))
        file.allow = readList(*value, "$.allow", readIdPattern);
    if (const rapidjson::Value* value = findMember(document, "deny"))
        file.deny = readList(*value, "$.deny", readIdPattern);
    if (const rapidjson::Value* value = findMember(document, "feeds"))
        file.feeds = readList(*value, "$.feeds", readPrefix);
    if (const rapidjson::Value* value = findMember(document, "redirects"))
        file.redirects = readRedirects(*value);
    return file;
}

Policy combine(const std::vector<PolicyFile>& files) {
    Policy policy;
    for (const PolicyFile& file : files) {
        policy.requireSignature = policy.requireSignature || file.requireSignature;
        if (file.allow)
            policy.allow.push_back(*file.allow);
        policy.deny.insert(policy.deny.end(), file.deny.begin(), file.deny.end());
        if (file.feeds)
            policy.feeds.push_back(*file.feeds);
        policy.redirects.insert(policy.redirects.end(), file.redirects.begin(),
                                file.redirects.end());
    }
    for (const LimitMember& member : kLimitMembers) {
        std::optional<std::uint64_t> least;
        for (const PolicyFile& file : files)
            if (const auto limit = file.limits.find(member.name); limit != file.limits.end())
                least = std::min(least.value_or(limit->second), limit->second);
        if (least)
            member.set(policy.limits, *least);
    }
    return policy;
}

}  // namespace tavik
