#include <unordered_set>

#include "platform/core/online/Online.h"
#include "platform/core/session/Session.h"
#include "platform/core/trust/FeedSignature.h"
#include "platform/core/updates/Download.h"
#include "platform/core/updates/ProgressLine.h"

namespace tavik {
namespace {

UpdatableExtension updatable(const ExtensionRow& row) {
    UpdatableExtension extension;
    extension.id = row.id;
    extension.idKey = row.idKey;
    extension.name = row.name;
    extension.version = Version::parse(row.version).value_or(Version());
    extension.updateUrl = row.updateUrl;
    for (const auto& range : row.products)
        extension.products.push_back(range.product);
    return extension;
}

std::vector<ExtensionRow> rowsOf(const StoreLocation& location) {
    const auto folder = StoreFolder::open(location);
    auto table = folder ? ExtensionTable::openForReading(*folder) : std::nullopt;
    return table ? table->readAll() : std::vector<ExtensionRow>();
}

}  // namespace

Policy Session::policy() const {
    return loadPolicy(shared_.familyFolder());
}

TrustRules Session::trustRules(const Policy& policy) const {
    std::vector<std::string> folders;
    for (const auto& each : locations())
        folders.push_back(each.familyFolder());
    return {policy, TrustedKeys(std::move(folders)),
            []() -> Crypto& { return loadOnline().crypto(); }};
}

FeedTrust Session::feedTrust() const {
    const TrustRules rules = trustRules(policy());
    return {true, [rules](const std::string& address, std::string_view feed,
                          const std::optional<std::string>& signature) {
                verifyFeed(address, feed, signature, rules);
            }};
}

UpdateCheckInput Session::updateCheckInput() {
    UpdateCheckInput input;
    std::unordered_set<std::string> known;
    for (const auto& each : locations())
        for (const auto& row : rowsOf(each))
            if (known.insert(row.idKey).second)
                input.extensions.push_back(updatable(row));
    for (const auto& product : products().products())
        input.products.push_back({product.name, Version::parse(product.version).value_or(Version()),
                                  product.updateFeed});
    input.cacheFile = location(Scope::user).familyFolder() + "/feeds.db";
    input.trust = feedTrust();
    return input;
}

void Session::startUpdateCheck() {
    updateCheck_.reset();
    // What the check learns is kept in the user's store, also where all extensions are shared.
    StoreFolder::create(location(Scope::user));
    updateCheck_ = std::make_unique<UpdateCheck>(updateCheckInput());
}

void Session::waitForUpdateCheck() {
    updateCheck().wait();
    if (const auto& warning = updateCheck().warning())
        warn(*warning);
}

UpdateCheck& Session::updateCheck() {
    if (!updateCheck_)
        startUpdateCheck();
    return *updateCheck_;
}

const Offer& Session::updateOf(ExtensionHandle handle) {
    return updateCheck().updateOf(std::string(extension(handle).idKey));
}

void Session::update(ExtensionHandle handle) {
    const std::string name(extension(handle).name);
    const Scope scope = extension(handle).scope;
    const Offer offer = updateOf(handle);
    const StoreFolder folder = StoreFolder::create(location(scope));
    ProgressLine line;
    FileDescriptor file = downloadUpdate(
        offer, folder.subfolder("staging").get(),
        [&line](std::uint64_t done, std::uint64_t total) { line.show(done, total); });
    const Package package =
        Package::open(PackageFile::adopt(std::move(file), name), policy().limits);
    requireOffered(offer, package.manifest().idKey, package.manifest().version);
    installInto(scope, package, offer.item.sha256);
}

}  // namespace tavik
