#include <algorithm>
#include <unordered_set>

#include "platform/core/disk/SystemFolder.h"
#include "platform/core/net/Online.h"
#include "platform/core/session/Session.h"
#include "platform/core/updates/Download.h"
#include "platform/support/ProgressLine.h"

namespace tavik {
namespace {

constexpr const char* kCacheName = "/feeds.db";

/// The spelling under which a feed is remembered.
std::string keptAddress(const std::string& address) try {
    return Address::parse(address).text();
} catch (const AddressError&) {
    return address;  // It was never asked.
}

UpdatableExtension updatable(const ExtensionRow& row) {
    UpdatableExtension extension;
    extension.id = row.id;
    extension.idKey = row.idKey;
    extension.name = row.name;
    extension.version = row.version;
    extension.updateUrl = row.updateUrl;
    for (const auto& product : row.products)
        extension.products.push_back(product.name);
    return extension;
}

FeedVerifier verifierBy(const TrustRules& rules) {
    return [rules](const CachedFeed& feed, const std::string& succession) {
        if (!feed.signature.empty())
            return verifySignature(
                {feed.address, "the .sig file", feed.body, feed.signature, succession}, rules);
        requireNoSignatureNeeded(feed.address, rules);
        return Signer();
    };
}

}  // namespace

/// Policy and keys, for one operation from its first step to its last: no two steps judge by
/// different rules.
TrustRules Session::readRules() const {
    std::vector<std::string> folders{systemFolder()};
    for (const auto& each : locations())
        folders.push_back(each.familyFolder());
    return {loadPolicy({systemFolder(), shared_.familyFolder()}), TrustedKeys(std::move(folders)),
            []() -> Crypto& { return loadOnline().crypto(); }};
}

UpdateCheckInput Session::updateCheckInput(const TrustRules& rules) {
    UpdateCheckInput input;
    std::unordered_set<std::string> known;
    for (const auto& each : locations()) {
        ExtensionTable* table = rowsOf(each);
        for (const auto& row : table != nullptr ? table->readAll() : std::vector<ExtensionRow>())
            if (known.insert(row.idKey).second)
                input.extensions.push_back(updatable(row));
    }
    for (const auto& product : allProducts().products())
        input.products.push_back({product.name, product.version, product.updateFeed});
    input.cacheFile = cacheFile();
    input.policy = rules.policy;
    input.verify = verifierBy(rules);
    return input;
}

/// What checks learn is kept in the user's store, also where all extensions are shared; in the
/// shared one where the user's was left out.
std::string Session::cacheFile() const {
    const StoreLocation& user = foreignStore_ ? shared_ : location(Scope::user);
    try {
        return StoreFolder::create(user).path() + kCacheName;
    } catch (const Error& error) {
        // What stands in a folder of somebody else decides nothing here.
        if (error.status() == static_cast<int>(Status::storeUnsafe))
            throw;
        // If no store can be made, the check warns that it could not save what it learned.
        return user.familyFolder() + kCacheName;
    }
}

Session::Feeds Session::feeds() {
    Feeds found;
    for (const auto& product : reachableProducts().products())
        if (!product.updateFeed.empty())
            found.feeds.push_back({product.name, product.updateFeed, ""});
    const Inventory now = inventory();
    for (const auto& entry : now.entries())
        if (!entry.row.updateUrl.empty())
            found.feeds.push_back({entry.row.id, entry.row.updateUrl, ""});
    try {
        const auto folder = user_ ? StoreFolder::open(*user_) : std::nullopt;
        const auto days = folder ? readGoodDays(folder->path() + kCacheName)
                                 : std::map<std::string, std::string>();
        for (FeedInUse& feed : found.feeds)
            if (const auto known = days.find(keptAddress(feed.address)); known != days.end())
                feed.goodOn = known->second;
    } catch (const Error& error) {
        found.failure = error;
    }
    return found;
}

void Session::startUpdateCheck() {
    updateCheck_.reset();
    updateCheckFailure_.reset();
    try {
        updateRules_ = readRules();
        updateCheck_ = std::make_unique<BackgroundCheck>(updateCheckInput(*updateRules_));
    } catch (const Error& error) {
        updateCheckFailure_ = error;
    }
}

void Session::waitForUpdateCheck() {
    if (!updateCheck_)
        return;
    try {
        if (const auto& warning = updateCheck_->result().warning())
            warn(*warning);
    } catch (const Error& error) {
        updateCheckFailure_ = error;
    }
}

const UpdateCheck& Session::updateCheck() {
    if (!updateCheck_ && !updateCheckFailure_)
        startUpdateCheck();
    if (updateCheckFailure_)
        throw Error(*updateCheckFailure_);
    return updateCheck_->result();
}

const Offer& Session::updateOf(ExtensionHandle handle) {
    return updateCheck().updateOf(std::string(extension(handle).idKey));
}

void Session::update(ExtensionHandle handle) {
    const Scope scope = extension(handle).scope;
    const Offer offer = updateOf(handle);
    const auto row = rowIn(location(scope), offer.item.idKey);
    // Asked before the download if it is already known to be needed.
    InstallWish wish;
    if (row && row->requiresAccount) {
        identity_.requireAccount(row->id, row->name);
        wish.account = InstallWish::Account::asked;
    }

    const TrustRules rules = updateRules_.value();  // what the offer was judged by
    const Package package = downloadOffer(offer, scope, rules);
    requireOffered(offer, package.manifest().idKey, package.manifest().version);
    installInto(scope, package, rules, wish);
}

Session::SameVersions Session::findSameVersions(const std::vector<InventoryEntry>& entries) {
    SameVersions found{readRules(), nullptr};
    UpdateCheckInput input = updateCheckInput(found.rules);
    input.extensions.clear();
    for (const InventoryEntry& entry : entries)
        input.extensions.push_back(updatable(entry.row));
    input.sought = Sought::sameVersion;
    found.check = runCheck(std::move(input));
    return found;
}

void Session::reinstall(const InventoryEntry& entry, const SameVersions& found,
                        const SetAsideSink& setAside) {
    const Offer& offer = found.check->updateOf(entry.row.idKey);
    const Package package = downloadOffer(offer, entry.scope, found.rules);
    requireOffered(offer, package.manifest().idKey, package.manifest().version);
    InstallWish wish;
    wish.setAside = setAside;
    installInto(entry.scope, package, found.rules, wish);
}

std::unique_ptr<UpdateCheck> Session::askFeeds(AskedFeeds asked, const TrustRules& rules) {
    UpdateCheckInput input = updateCheckInput(rules);
    input.asked = asked;
    return runCheck(std::move(input));
}

std::unique_ptr<UpdateCheck> Session::runCheck(UpdateCheckInput input) const {
    auto check = std::make_unique<UpdateCheck>(std::move(input));
    check->run();
    if (check->warning())
        warn(*check->warning());
    return check;
}

Session::Search Session::searchOffers() {
    const auto check = askFeeds(AskedFeeds::all, readRules());
    return {check->offers(), check->failures()};
}

/// What the feeds of the installed products have under that id: the version that is wanted, or the
/// newest that fits.
Offer Session::offered(const std::string& id, const std::optional<Version>& wanted,
                       const TrustRules& rules) {
    requireAllowedExtension(rules.policy, toIdKey(id), id);
    const auto check = askFeeds(AskedFeeds::ofProducts, rules);
    for (const Offer& offer : check->offers(wanted))
        if (offer.item.idKey == toIdKey(id))
            return offer;
    for (const Error& failure : check->failures())
        throw Error(failure);
    fail(Status::notOffered, id, wanted ? "version " + wanted->text() : std::string());
}

Package Session::downloadOffer(const Offer& offer, Scope scope, const TrustRules& rules) {
    const PackageLimits& limits = rules.policy.limits;
    // A package is hardly ever larger than its content, so a much larger one is not downloaded.
    if (offer.item.size > 2 * limits.totalBytes)
        fail(Status::packageTooLarge, offer.name, std::to_string(offer.item.size) + " bytes");
    const StoreFolder folder = StoreFolder::create(location(scope));
    ProgressLine line;
    FileDescriptor file = downloadUpdate(
        offer, folder.subfolder("staging").get(),
        [&line](std::uint64_t done, std::uint64_t total) { line.show(done, total); });
    return Package::open(PackageFile::adopt(std::move(file), offer.name), limits);
}

MirrorReport Session::mirror(const std::vector<std::string>& addresses, const std::string& folder) {
    const TrustRules trust = readRules();
    ProgressLine line;
    const MirrorRules rules{
        verifierBy(trust), trust.policy, 2 * trust.policy.limits.totalBytes,
        [&line](std::uint64_t done, std::uint64_t total) { line.show(done, total); }};
    return mirrorFeeds(addresses, folder, rules);
    // The analyzer does not see that std::function frees what it holds.
}  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks)

}  // namespace tavik
