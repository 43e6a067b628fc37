#include "platform/core/updates/Offer.h"

#include <algorithm>

#include "platform/core/updates/VersionOrder.h"

namespace tavik {
namespace {

bool fitsAny(const FeedItem& item, const std::vector<UpdatableProduct>& products) {
    return std::any_of(products.begin(), products.end(), [&](const UpdatableProduct& product) {
        return std::any_of(
            item.products.begin(), item.products.end(), [&](const ProductRequirement& wanted) {
                return wanted.name == product.name && wanted.accepts(product.version);
            });
    });
}

/// The newest item that is not blocked, is made for an installed product, and `suits`.
template <class Suits>
const FeedItem* newestItem(const Feed& feed, const std::string& idKey,
                           const std::vector<UpdatableProduct>& products, Suits suits) {
    const ItemRange items = itemsOf(feed, idKey);
    const auto isBlocked = [&](const FeedItem& item) {
        return std::lower_bound(items.begin(), items.end(), item, VersionOrder())
            ->blocked.has_value();
    };
    const FeedItem* best = nullptr;
    for (const auto& item : items)
        if (suits(item) && (best == nullptr || item.version > best->version) && !isBlocked(item) &&
            fitsAny(item, products))
            best = &item;
    return best;
}

}  // namespace

ItemRange itemsOf(const Feed& feed, const std::string& idKey) {
    const auto first = std::lower_bound(
        feed.items.begin(), feed.items.end(), idKey,
        [](const FeedItem& item, const std::string& key) { return item.idKey < key; });
    const auto last = std::upper_bound(
        first, feed.items.end(), idKey,
        [](const std::string& key, const FeedItem& item) { return key < item.idKey; });
    return {first, last};
}

const FeedItem* chooseUpdate(const Feed& feed, const UpdatableExtension& extension,
                             const std::vector<UpdatableProduct>& products) {
    return newestItem(feed, extension.idKey, products, [&](const FeedItem& item) {
        return item.version > extension.version && !item.version.isPreRelease();
    });
}

const FeedItem* chooseItem(const Feed& feed, const std::string& idKey,
                           const std::optional<Version>& wanted,
                           const std::vector<UpdatableProduct>& products) {
    return newestItem(feed, idKey, products, [&](const FeedItem& item) {
        return wanted ? item.version == *wanted : !item.version.isPreRelease();
    });
}

}  // namespace tavik
