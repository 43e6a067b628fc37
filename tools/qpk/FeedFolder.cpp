#include "tools/qpk/FeedFolder.h"

#include <strings.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "platform/core/package/Package.h"
#include "platform/core/trust/Digests.h"
#include "platform/core/trust/PackageSignature.h"
#include "platform/support/Json.h"
#include "platform/support/Text.h"
#include "tools/qpk/InputFile.h"
#include "tools/qpk/PackageCheck.h"
#include "tools/qpk/Signing.h"

namespace tavik::qpk {
namespace {

namespace fs = std::filesystem;

/// The ending counts in any letter case, because an author may overlook the difference.
bool looksLikePackage(const fs::path& name) {
    return ::strcasecmp(name.extension().c_str(), ".qpk") == 0 && name.string().front() != '.';
}

/// Why a package of that name must not be published; empty if it may be.
std::string nameFault(const fs::path& name) {
    if (!isPrintableText(name.string()))
        return "has a name that is no UTF-8 text in one line; rename it";
    if (name.extension() != ".qpk")
        return "does not end in .qpk in small letters; rename it";
    return {};
}

std::vector<std::string> packageNames(const std::string& folder, const FaultSink& report) try {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        const fs::path name = entry.path().filename();
        if (!looksLikePackage(name))
            continue;
        if (const std::string fault = nameFault(name); !fault.empty())
            report({Status::feedInvalid, oneLine(name.string()), fault});
        else
            names.push_back(name.string());
    }
    std::sort(names.begin(), names.end());
    return names;
} catch (const fs::filesystem_error& error) {
    failSystem(error.code().value(), folder, "read the folder");
}

FeedPackage describePackage(const std::string& folder, const std::string& name) {
    const Package package = Package::open(folder + "/" + name);
    FeedPackage described;
    described.manifest = package.manifest();
    described.fileName = name;
    described.size = package.file().size();
    described.sha256 = digestOf(package.file(), authorCrypto());
    described.signer = verifyWholePackage(package, authorRules()).signer;
    return described;
}

/// Newest first.
bool comesBefore(const FeedPackage& a, const FeedPackage& b) {
    if (a.manifest.idKey != b.manifest.idKey)
        return a.manifest.idKey < b.manifest.idKey;
    return b.manifest.version < a.manifest.version;
}

void reportSameVersions(const std::vector<FeedPackage>& packages, const FaultSink& report) {
    const auto same = [](const FeedPackage& a, const FeedPackage& b) {
        return a.manifest.idKey == b.manifest.idKey && a.manifest.version == b.manifest.version;
    };
    for (auto at = packages.begin(); at != packages.end(); ++at) {
        const auto next = std::next(at);
        if (next != packages.end() && same(*at, *next))
            report({Status::versionRepublished, next->fileName,
                    "has the same id and version as " + at->fileName});
    }
}

/// The file: address of the folder's feed.
Address feedAddress(const std::string& folder) {
    std::string url = "file://";
    for (const fs::path& part : fs::weakly_canonical(folder) / kFeedName)
        if (part != "/")
            url += "/" + percentEncoded(part.string());
    return Address::parse(url);
}

}  // namespace

std::vector<FeedPackage> readPackages(const std::string& folder, const FaultSink& report) {
    std::vector<FeedPackage> packages;
    for (const std::string& name : packageNames(folder, report)) {
        const std::vector<Fault> faults = findCoreFaults(folder + "/" + name);
        for (const Fault& fault : faults)
            report(
                {fault.status, fault.place.empty() ? name : name + ": " + fault.place, fault.text});
        if (faults.empty())
            packages.push_back(describePackage(folder, name));
    }
    std::stable_sort(packages.begin(), packages.end(), comesBefore);
    reportSameVersions(packages, report);
    return packages;
}

std::optional<Feed> readOldFeed(const std::string& folder) {
    const auto text = readWhole(folder + "/" + kFeedName, kMaxFileBytes, FinalLink::followed);
    if (!text)
        return std::nullopt;
    return readFeedText(folder, *text);
}

Feed readFeedText(const std::string& folder, const std::string& text) {
    Feed feed = parseFeed(text, feedAddress(folder));
    if (!feed.warnings.empty())
        fail(Status::feedInvalid, folder + "/" + kFeedName, feed.warnings.front().text);
    return feed;
}

std::vector<std::string> signerWarnings(const std::vector<FeedPackage>& packages) {
    std::vector<std::string> warnings;
    for (std::size_t i = 0; i + 1 < packages.size(); ++i) {
        const FeedPackage& newer = packages[i];
        const FeedPackage& older = packages[i + 1];
        if (newer.manifest.idKey == older.manifest.idKey &&
            !maySucceed(older.signer.key, newer.signer))
            warnings.push_back(newer.fileName + ": is " + describe(newer.signer) + ", and " +
                               older.fileName + " is " + describe(older.signer) +
                               "; who has the older one installed will not get the newer one");
    }
    return warnings;
}

void compareWithOld(const Feed& old, FeedDocument& feed, const FaultSink& report) {
    for (const FeedItem& item : old.items) {
        bool isThere = false;
        for (FeedPackage& package : feed.packages) {
            if (item.idKey != package.manifest.idKey || item.version != package.manifest.version)
                continue;
            isThere = true;
            if (item.blocked)
                package.blocked = item.blocked;
            else if (item.sha256 != package.sha256)
                report({Status::versionRepublished, package.fileName,
                        "version " + package.manifest.version.text() +
                            " was published with other content; give it a new version, or remove "
                            "feed.json if nobody has seen it"});
        }
        if (item.blocked && !isThere)
            feed.withdrawn.push_back({item.id, item.version.text(), *item.blocked});
    }
}

void block(const WithdrawnVersion& withdrawn, FeedDocument& feed) {
    const std::string idKey = toIdKey(withdrawn.id);
    const auto version = Version::parse(withdrawn.version);
    const auto isMeant = [&](const std::string& id, const std::optional<Version>& other) {
        return toIdKey(id) == idKey && other == version;
    };
    for (FeedPackage& package : feed.packages)
        if (isMeant(package.manifest.id, package.manifest.version)) {
            package.blocked = withdrawn.reason;
            return;
        }
    for (WithdrawnVersion& earlier : feed.withdrawn)
        if (isMeant(earlier.id, Version::parse(earlier.version))) {
            earlier.reason = withdrawn.reason;
            return;
        }
    feed.withdrawn.push_back(withdrawn);
}

}  // namespace tavik::qpk
