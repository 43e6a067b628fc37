#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/core/disk/LinkFolder.h"
#include "platform/core/disk/StoreFolder.h"
#include "platform/core/disk/StoreLock.h"
#include "platform/core/products/ProductCatalog.h"
#include "platform/core/store/ExtensionTable.h"

namespace tavik {

/// Keeps the links in the products' folders as one store's rows want them. Where both stores link
/// one id in one folder, the user's link stands there.
class LinkKeeper {
  public:
    /// `other`: the other store that this user works with, if any. All must outlive the keeper.
    LinkKeeper(const StoreFolder& store, const std::optional<StoreLocation>& other,
               const ProductCatalog& products);

    LinkKeeper(const LinkKeeper&) = delete;
    LinkKeeper& operator=(const LinkKeeper&) = delete;

    /// Throws, before anything is changed, where a link of the row could not be put in its place:
    /// no right to write, or something stands there that belongs to neither store.
    void prepare(const ExtensionRow& row, const StoreLock&) const;

    /// Goes from the links of one row to those of another; on return they are durable.
    void update(const std::optional<ExtensionRow>& before, const std::optional<ExtensionRow>& after,
                const StoreLock&) const;

    /// Makes all links anew, also in the folders of `linkedProducts`, an older productsText().
    void repair(const std::vector<ExtensionRow>& rows, const std::string& linkedProducts,
                const StoreLock&) const;

    /// What the links depend on besides the rows, as a text to compare.
    std::string productsText() const;

  private:
    bool isOurs(const std::string& target) const;
    bool isOthers(const std::string& target) const;
    bool yields(const LinkFolder& folder, const std::string& name) const;
    void takeAway(LinkFolder& folder, const std::string& name) const;
    void repairFolder(const std::string& path, const std::vector<ExtensionRow>& rows) const;
    std::optional<std::string> othersTarget(const std::string& folder,
                                            const std::string& name) const;
    std::vector<LinkPlace> placesOf(const ExtensionRow& row, const StoreLocation& store) const;
    std::vector<LinkPlace> possiblePlacesOf(const ExtensionRow& row) const;
    std::string contentOf(const ExtensionRow& row) const;

    const StoreFolder& store_;
    const std::optional<StoreLocation>& other_;
    const ProductCatalog& products_;
    std::string content_;        ///< of this store, with a slash at its end
    std::string othersContent_;  ///< the same of the other; empty where there is none
};

}  // namespace tavik
