#include "platform/core/updates/Update.h"

#include <algorithm>

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

}  // namespace

ItemRange itemsOf(const Feed& feed, const std::string& idKey) {
    const auto first = std::lower_bound(
        feed.items.begin(), feed.items.end(), idKey,
        [](const FeedItem& item, const std::string& key) { return item.idKey < key; });
    const auto last = std::find_if(first, feed.items.end(),
                                   [&](const FeedItem& item) { return item.idKey != idKey; });
    return {first, last};
}

const FeedItem* chooseUpdate(const Feed& feed, const UpdatableExtension& extension,
                             const std::vector<UpdatableProduct>& products) {
    const ItemRange items = itemsOf(feed, extension.idKey);
    const auto isBlocked = [&](const FeedItem& item) {
        return std::any_of(items.begin(), items.end(), [&](const FeedItem& other) {
            return other.blocked && other.version == item.version;
        });
    };
    const FeedItem* best = nullptr;
    for (const auto& item : items)
        if (item.version > extension.version && !item.version.isPreRelease() &&
            (best == nullptr || item.version > best->version) && !isBlocked(item) &&
            fitsAny(item, products))
            best = &item;
    return best;
}

}  // namespace tavik
