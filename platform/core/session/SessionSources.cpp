#include "platform/core/net/Online.h"
#include "platform/core/session/Session.h"
#include "platform/core/status/Status.h"
#include "platform/core/trust/Digests.h"
#include "platform/core/updates/Download.h"
#include "platform/support/ProgressLine.h"

namespace tavik {
namespace {

/// Where the policy wants that address to be asked.
Address routeOf(const std::string& text, const Policy& policy) try {
    return policy.route(Address::parse(text));
} catch (const AddressError& error) {
    fail(Status::addressRefused, withoutSecrets(text), error.what());
}

bool isAddress(const std::string& place) {
    return place.find("://") != std::string::npos;
}

void requireDigest(const PackageSource& source, const std::string& found) {
    if (!source.sha256.empty() && source.sha256 != found)
        fail(Status::packageNotWanted, source.place,
             "it has the SHA-256 " + found + ", wanted: " + source.sha256);
}

void requireWanted(const PackageSource& source, const Package& package) {
    const Manifest& manifest = package.manifest();
    const bool isOther = !source.id.empty() && toIdKey(source.id) != manifest.idKey;
    const bool isTooOld = source.minVersion && manifest.version < *source.minVersion;
    if (isOther || isTooOld || (source.version && manifest.version != *source.version))
        fail(Status::packageNotWanted, source.place,
             "it is " + manifest.id + " " + manifest.version.text());
}

}  // namespace

ExtensionRow Session::install(const PackageSource& source, Scope scope) {
    const TrustRules rules = readRules();
    InstallWish wish;
    wish.olderVersion = source.olderVersion;
    return installInto(scope, openSource(source, scope, rules), rules, wish);
}

std::string Session::versionOf(const PackageSource& source, Scope scope) {
    const TrustRules rules = readRules();
    if (source.place.empty())
        return wantedOffer(source, rules).item.version.text();
    // A package is not downloaded only to learn a version that the source already names.
    if (source.version && isAddress(source.place))
        return source.version->text();
    return openSource(source, scope, rules).manifest().version.text();
}

Offer Session::wantedOffer(const PackageSource& source, const TrustRules& rules) {
    Offer offer = offered(source.id, source.version, rules);
    if (source.minVersion && offer.item.version < *source.minVersion)
        fail(Status::notOffered, source.id, "version " + source.minVersion->text());
    if (!source.sha256.empty() && offer.item.sha256 != source.sha256)
        fail(Status::packageNotWanted, source.id,
             "the feed has the SHA-256 " + offer.item.sha256 + ", wanted: " + source.sha256);
    return offer;
}

Package Session::openOffered(const PackageSource& source, Scope scope, const TrustRules& rules) {
    const Offer offer = wantedOffer(source, rules);
    Package package = downloadOffer(offer, scope, rules);
    requireOffered(offer, package.manifest().idKey, package.manifest().version);
    return package;
}

Package Session::openSource(const PackageSource& source, Scope scope, const TrustRules& rules) {
    if (source.place.empty())
        return openOffered(source, scope, rules);
    std::optional<Package> package;
    if (!isAddress(source.place)) {
        package = Package::open(source.place, rules.policy.limits);
        if (!source.sha256.empty())
            requireDigest(source, digestOf(package->file(), loadOnline().crypto()));
    } else {
        const StoreFolder folder = StoreFolder::create(location(scope));
        ProgressLine line;
        DownloadedFile loaded = downloadFile(
            routeOf(source.place, rules.policy), 2 * rules.policy.limits.totalBytes,
            folder.subfolder("staging").get(),
            [&line](std::uint64_t done, std::uint64_t total) { line.show(done, total); });
        requireDigest(source, loaded.sha256);
        package = Package::open(PackageFile::adopt(std::move(loaded.file), source.place),
                                rules.policy.limits);
    }
    requireWanted(source, *package);
    return *std::move(package);
}

}  // namespace tavik
