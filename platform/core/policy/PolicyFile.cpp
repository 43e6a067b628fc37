#include "platform/core/policy/PolicyFile.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "platform/core/package/Manifest.h"
#include "platform/support/JsonObject.h"

namespace tavik {
namespace {

constexpr std::uint64_t kMaxEntries = 1'000'000;
constexpr std::uint64_t kMaxBytes = std::uint64_t{1} << 40;
constexpr std::uint64_t kMaxManifestBytes = std::uint64_t{64} << 20;
constexpr unsigned kMaxManifestDepth = 256;
constexpr std::uint64_t kMaxRatio = 1'000'000;

// The product of two limits must fit in 64 bits, because checks multiply them.
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

std::map<std::string, std::uint64_t> readLimits(const JsonObject& object) {
    object.allowOnly([](std::string_view name) {
        return std::any_of(std::begin(kLimitMembers), std::end(kLimitMembers),
                           [&](const LimitMember& member) { return name == member.name; });
    });
    std::map<std::string, std::uint64_t> limits;
    for (const LimitMember& member : kLimitMembers)
        if (const auto number = object.number(member.name, member.least, member.most))
            limits[member.name] = *number;
    return limits;
}

/// The texts of an array, each with its place; nothing where there is no such member.
template <class Read>
auto readList(const JsonObject& object, std::string_view member, Read read) {
    std::optional<std::vector<decltype(read(std::string(), std::string()))>> list;
    const rapidjson::Value* values = object.array(member);
    if (values == nullptr)
        return list;
    list.emplace();
    for (const auto& value : values->GetArray()) {
        const std::string place = entryPlace(object.place(member), list->size());
        if (!value.IsString())
            throwJsonComplaint(place, "is not a string");
        list->push_back(read(std::string(viewOf(value)), place));
    }
    return list;
}

/// "com.example.brushes", "com.example.*" or "*", in lower case.
std::string readIdPattern(const std::string& text, const std::string& place) {
    std::string beginning = text;
    const bool isOpen = !text.empty() && text.back() == '*';
    if (isOpen)
        beginning.pop_back();
    // A beginning may end in a dot, which an id may not. With a letter added it must be an id.
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
        const std::string from(viewOf(member.name));
        const std::string place = "$.redirects[" + quoteJson(from) + "]";
        if (!member.value.IsString())
            throw JsonError(place + " is not a string");
        const std::string to(viewOf(member.value));
        redirects.push_back({readPrefix(from, place), readPrefix(to, place)});
        if (redirects.back().from.isFolder() != redirects.back().to.isFolder())
            throw JsonError(place + ": either both addresses end in a slash, or none");
    }
    // The longest beginning goes first, because the first match counts.
    std::stable_sort(redirects.begin(), redirects.end(), [](const Redirect& a, const Redirect& b) {
        return a.from.text().size() > b.from.text().size();
    });
    return redirects;
}

}  // namespace

PolicyFile parsePolicyFile(std::string_view json) {
    const rapidjson::Document document = parseJson(json, {kMaxPolicyBytes, 8});
    const JsonObject object(document, "$");
    object.allowOnly({"requireSignature", "limits", "allow", "deny", "feeds", "redirects"});
    PolicyFile file;
    file.requireSignature = object.flag("requireSignature").value_or(false);
    if (const auto limits = object.object("limits"))
        file.limits = readLimits(*limits);
    file.allow = readList(object, "allow", readIdPattern);
    file.deny = readList(object, "deny", readIdPattern).value_or(Policy::IdList());
    file.feeds = readList(object, "feeds", readPrefix);
    if (const rapidjson::Value* redirects = object.find("redirects"))
        file.redirects = readRedirects(*redirects);
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
