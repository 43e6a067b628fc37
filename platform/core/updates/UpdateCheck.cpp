// One check for updates, step by step:
//
// 1. Name the feeds. An extension's own address goes before those of its products. Two spellings of
//    one address are one feed. The policy decides which feeds may be asked, and where.
// 2. Read what earlier checks have saved of them: the last good copy, the versions once offered,
//    the signer. If that cannot be read, the check warns and goes on as a first one does. If
//    somebody else could have written it, the check ends.
// 3. Fetch in three rounds, each with all its requests at once: the feeds that have changed, with
//    the signatures of those that no copy is kept of; then the signatures that turned out to be
//    needed; then statements of succession, where a feed has another signer than before.
// 4. Judge each feed by itself (see FeedRetrieval). A feed that fails does not stop the others.
// 5. Save what is new and good in one transaction, before anything is offered: a server cannot take
//    back in the next check what it has said in this one.
// 6. Find each extension's update in the feeds that may have one. A failure on the way stays with
//    the extension and its products, so that an incomplete list does not look complete.
//
// Nothing here takes a store's lock: the input is a snapshot, and an install checks again.

#include "platform/core/updates/UpdateCheck.h"

#include <algorithm>
#include <ctime>
#include <iterator>
#include <set>

#include "platform/core/status/Status.h"

namespace tavik {
namespace {

/// Why the feed has no update although it has newer items: the newest is blocked, or an item is not
/// valid.
std::string noteAbout(const FeedRetrieval& source, const UpdatableExtension& extension) {
    const ItemRange items = itemsOf(source.feed(), extension.idKey);
    const auto newest = std::find_if(
        std::make_reverse_iterator(items.end()), std::make_reverse_iterator(items.begin()),
        [&](const FeedItem& item) { return item.blocked && item.version > extension.version; });
    if (newest.base() != items.begin())
        return "version " + newest->version.text() + " is blocked: " + *newest->blocked;
    for (const auto& warning : source.feed().warnings)
        if (warning.idKey == extension.idKey)
            return "an entry in " + source.address() + " is not valid: " + warning.text;
    return {};
}

}  // namespace

UpdateCheck::UpdateCheck(UpdateCheckInput input)
    : input_(std::move(input)), fetcher_(loadOnline().newFetcher(input_.bounds)) {}

void UpdateCheck::run() {
    nameFeeds();
    const auto feeds = sources();
    if (!feeds.empty()) {
        auto cache = recall();
        fetch();
        for (FeedRetrieval* feed : feeds)
            feed->judge(input_.verify, std::time(nullptr));
        if (cache)
            keep(*cache);
    }
    for (std::size_t i = 0; i < findings_.size(); ++i)
        find(input_.extensions[i], findings_[i]);
}

void UpdateCheck::nameFeeds() {
    if (input_.asked != AskedFeeds::ofExtensions)
        for (const auto& each : input_.products)
            if (!each.updateFeed.empty())
                feedAt(each.updateFeed, each.name);
    if (input_.asked == AskedFeeds::ofProducts) {
        findings_.resize(input_.extensions.size());
        return;
    }
    for (const auto& extension : input_.extensions) {
        Finding& finding = findings_.emplace_back();
        if (!extension.updateUrl.empty()) {
            finding.feeds.push_back(&feedAt(extension.updateUrl, extension.name));
            continue;
        }
        for (const auto& name : extension.products) {
            const UpdatableProduct* named = product(name);
            if (named != nullptr && !named->updateFeed.empty())
                finding.feeds.push_back(&feedAt(named->updateFeed, named->name));
        }
    }
}

/// The feed at that address. All spellings of one address share one feed.
const UpdateCheck::NamedFeed& UpdateCheck::feedAt(const std::string& address,
                                                  const std::string& namedBy) {
    if (const auto known = byAddress_.find(address); known != byAddress_.end())
        return *known->second;
    NamedFeed feed = nameFeed(address, namedBy);
    const std::string key = feed.source ? feed.source->address() : address;
    NamedFeed& kept = feeds_.try_emplace(key, std::move(feed)).first->second;
    byAddress_[address] = &kept;
    return kept;
}

UpdateCheck::NamedFeed UpdateCheck::nameFeed(const std::string& address,
                                             const std::string& namedBy) const {
    NamedFeed feed;
    try {
        Address named = Address::parse(address);
        if (input_.policy.allowsFeed(named)) {
            Address place = input_.policy.route(named);
            feed.source = std::make_unique<FeedRetrieval>(std::move(named), std::move(place));
        } else {
            feed.refusal.emplace(static_cast<int>(Status::policyForbids), namedBy,
                                 "its feed " + named.text());
        }
    } catch (const AddressError& error) {
        feed.refusal.emplace(static_cast<int>(Status::addressRefused), namedBy,
                             std::string("the address of its feed ") + error.what());
    }
    return feed;
}

std::vector<FeedRetrieval*> UpdateCheck::sources() const {
    std::vector<FeedRetrieval*> sources;
    for (const auto& [address, feed] : feeds_)
        if (feed.source)
            sources.push_back(feed.source.get());
    return sources;
}

void UpdateCheck::fetch() {
    std::vector<Errand> errands;
    for (FeedRetrieval* feed : sources()) {
        errands.push_back({feed, feed->request(), &FeedRetrieval::take});
        if (feed->needsSignature(input_.verify))
            errands.push_back({feed, feed->signatureRequest(), &FeedRetrieval::takeSignature});
    }
    run(errands);

    errands.clear();
    for (FeedRetrieval* feed : sources())
        if (feed->lacksSignature(input_.verify))
            errands.push_back({feed, feed->signatureRequest(), &FeedRetrieval::takeSignature});
    run(errands);

    errands.clear();
    for (FeedRetrieval* feed : sources())
        if (feed->lacksSuccession(input_.verify))
            errands.push_back({feed, feed->successionRequest(), &FeedRetrieval::takeSuccession});
    run(errands);
}

/// Hands each answer to its feed, a feed's own before its signature's.
void UpdateCheck::run(const std::vector<Errand>& errands) {
    std::vector<DocumentRequest> requests;
    requests.reserve(errands.size());
    for (const auto& errand : errands)
        requests.push_back(errand.request);
    auto results = fetcher_->fetchAll(requests);
    for (std::size_t i = 0; i < errands.size(); ++i)
        (errands[i].feed->*errands[i].take)(std::move(results[i]));
}

/// Tells the feeds what is known of them. Nothing, and a warning, where the disk does not give the
/// cache: the check then goes on as a first one does.
std::optional<FeedDatabase> UpdateCheck::recall() try {
    FeedDatabase cache(input_.cacheFile);
    const auto feeds = sources();
    std::vector<std::string> addresses;
    for (const FeedRetrieval* feed : feeds)
        addresses.push_back(feed->address());
    auto known = cache.find(addresses);
    for (std::size_t i = 0; i < feeds.size(); ++i)
        feeds[i]->remember(std::move(known[i]));
    return cache;
} catch (const Error& error) {
    // These two end the check. Without what is remembered, it would accept a feed that was rolled
    // back or replaced.
    for (const Status status : {Status::storeNewer, Status::storeUnsafe})
        if (error.status() == static_cast<int>(status))
            throw;
    warning_ = error;
    return std::nullopt;
}

void UpdateCheck::keep(FeedDatabase& cache) {
    std::set<std::string> installed;
    for (const auto& extension : input_.extensions)
        installed.insert(extension.idKey);
    std::vector<GoodFeed> news;
    for (const FeedRetrieval* feed : sources())
        if (auto good = feed->news(installed))
            news.push_back(*std::move(good));
    if (news.empty())
        return;
    try {
        cache.save(news);
    } catch (const Error& error) {
        warning_ = error;
    }
}

Offer UpdateCheck::offerOf(const FeedItem& item, const FeedRetrieval& source,
                           std::string name) const {
    Offer offer{item, source.address(), std::move(name), source.signer()};
    offer.item.mirrors.clear();
    for (const Address& mirror : item.mirrors) {
        try {
            offer.item.mirrors.push_back(input_.policy.route(mirror));
        } catch (const AddressError&) {
            // The policy's redirect does not fit this mirror; the others remain.
        }
    }
    return offer;
}

void UpdateCheck::find(const UpdatableExtension& extension, Finding& finding) const {
    if (!input_.policy.allowsExtension(extension.idKey)) {
        finding.note = "the administrator's policy.json does not allow the extension";
        return;
    }
    for (const NamedFeed* feed : finding.feeds) {
        if (feed->failure()) {
            finding.failure = finding.failure ? finding.failure : feed->failure();
            continue;
        }
        const FeedRetrieval& source = *feed->source;
        const FeedItem* item = choose(source.feed(), extension);
        if (item == nullptr)
            finding.note = finding.note.empty() ? noteAbout(source, extension) : finding.note;
        else if (source.isRepublished(*item))
            finding.failure.emplace(static_cast<int>(Status::versionRepublished), extension.name,
                                    "version " + item->version.text() + " in " + source.address());
        else if (!finding.offer || item->version > finding.offer->item.version)
            finding.offer = offerOf(*item, source, extension.name);
    }
}

const FeedItem* UpdateCheck::choose(const Feed& feed, const UpdatableExtension& extension) const {
    if (input_.sought == Sought::sameVersion)
        return chooseItem(feed, extension.idKey, extension.version, input_.products);
    return chooseUpdate(feed, extension, input_.products);
}

const UpdatableProduct* UpdateCheck::product(const std::string& name) const {
    const auto found =
        std::find_if(input_.products.begin(), input_.products.end(),
                     [&](const UpdatableProduct& each) { return each.name == name; });
    return found == input_.products.end() ? nullptr : &*found;
}

std::vector<Offer> UpdateCheck::offers(const std::optional<Version>& wanted) const {
    std::vector<Offer> offers;
    for (const FeedRetrieval* source : sources()) {
        if (source->failure())
            continue;
        const auto& items = source->feed().items;
        for (auto at = items.begin(); at != items.end();) {
            const std::string& idKey = at->idKey;
            const FeedItem* item = input_.policy.allowsExtension(idKey)
                                       ? chooseItem(source->feed(), idKey, wanted, input_.products)
                                       : nullptr;
            if (item != nullptr && !source->isRepublished(*item))
                offers.push_back(
                    offerOf(*item, *source, item->name.empty() ? item->id : item->name));
            at = itemsOf(source->feed(), idKey).end();
        }
    }
    std::stable_sort(offers.begin(), offers.end(), [](const Offer& a, const Offer& b) {
        const int ids = a.item.idKey.compare(b.item.idKey);
        return ids != 0 ? ids < 0 : b.item.version < a.item.version;
    });
    return offers;
}

std::vector<Error> UpdateCheck::failures() const {
    std::vector<Error> failures;
    for (const auto& [address, feed] : feeds_)
        if (feed.failure())
            failures.push_back(*feed.failure());
    return failures;
}

const Offer& UpdateCheck::updateOf(const std::string& idKey) const {
    for (std::size_t i = 0; i < findings_.size(); ++i) {
        if (input_.extensions[i].idKey != idKey)
            continue;
        const Finding& finding = findings_[i];
        if (finding.offer)
            return *finding.offer;
        if (finding.failure)
            throw Error(*finding.failure);
        fail(Status::noUpdate, input_.extensions[i].name, finding.note);
    }
    fail(Status::noUpdate, idKey, "not installed when the check began");
}

std::vector<const Offer*> UpdateCheck::updatesOf(const std::string& productName) const {
    const UpdatableProduct* wanted = product(productName);
    if (wanted == nullptr)
        fail(Status::productNotFound, productName);
    std::vector<const Offer*> offers;
    for (std::size_t i = 0; i < findings_.size(); ++i) {
        const auto& products = input_.extensions[i].products;
        const Finding& finding = findings_[i];
        if (std::find(products.begin(), products.end(), productName) == products.end())
            continue;
        // An incomplete list must not look complete, even if this extension's update was found
        // through another product.
        if (finding.failure)
            throw Error(*finding.failure);
        if (finding.offer)
            offers.push_back(&*finding.offer);
    }
    return offers;
}

}  // namespace tavik
