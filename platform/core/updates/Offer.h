#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/core/package/Version.h"
#include "platform/core/updates/Feed.h"

namespace tavik {

/// An installed extension as far as updates are concerned. Addresses are as the package and the
/// descriptor have them, unchecked; empty where there is none.
struct UpdatableExtension {
    std::string id;
    std::string idKey;
    std::string name;
    Version version;
    std::string updateUrl;
    std::vector<std::string> products;  ///< internal names; those that are not installed included
};

struct UpdatableProduct {
    std::string name;
    Version version;
    std::string updateFeed;
};

/// A version on offer, as an update of an installed extension or for anybody.
struct Offer {
    FeedItem item;
    std::string feed;    ///< the address that the extension or its product names
    std::string name;    ///< the installed extension's, or else the feed's for it
    std::string signer;  ///< fingerprint of the feed's key; empty: unsigned
};

/// The items of one extension in a feed.
struct ItemRange {
    std::vector<FeedItem>::const_iterator first, last;
    auto begin() const { return first; }
    auto end() const { return last; }
};

ItemRange itemsOf(const Feed& feed, const std::string& idKey);

/// The newest item of the feed that is an update for the extension: not blocked, no pre-release,
/// newer than the installed version, and made for an installed product. Null where there is none.
const FeedItem* chooseUpdate(const Feed& feed, const UpdatableExtension& extension,
                             const std::vector<UpdatableProduct>& products);

/// The newest item of the feed for the extension that is not blocked and made for an installed
/// product. If a version is `wanted`, only that one counts, even a pre-release; otherwise
/// pre-releases are left out. Null where there is none.
const FeedItem* chooseItem(const Feed& feed, const std::string& idKey,
                           const std::optional<Version>& wanted,
                           const std::vector<UpdatableProduct>& products);

}  // namespace tavik
