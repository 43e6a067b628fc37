#pragma once

#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/core/disk/LinkFolder.h"
#include "platform/core/disk/StoreFolder.h"
#include "platform/core/disk/StoreLock.h"
#include "platform/core/products/ProductCatalog.h"
#include "platform/core/store/ExtensionTable.h"
#include "platform/core/store/LinkTargets.h"
#include "platform/core/store/MaskKeeper.h"
#include "platform/core/store/Settlement.h"

namespace tavik {

/// Keeps the links in the products' folders, and a user's masks, as one store's rows want them.
/// Where both stores link one id in one folder, the user's link stands there. The source says how
/// two stores share one folder without a lock.
class LinkKeeper {
  public:
    /// `other`: the other store that this user works with, if any. All must outlive the keeper.
    LinkKeeper(const StoreFolder& store, const std::optional<StoreLocation>& other,
               const ProductCatalog& products, Settlement& settlement);

    LinkKeeper(const LinkKeeper&) = delete;
    LinkKeeper& operator=(const LinkKeeper&) = delete;

    /// Throws, before anything is changed, where a link of the row could not be put in its place:
    /// no right to write, a folder that is not safe, or something stands there that belongs to
    /// neither store. The folders stay open for update(), and what the other store has under that
    /// id is read, so that nothing slow lies between the commit and the link.
    void prepare(const ExtensionRow& row, const StoreLock&);

    /// Goes from the links and the mask of one row to those of another, after the rows' commit. On
    /// return they are durable. Throws the first failure when all has been tried: links may lead to
    /// the old row's folder then, so that folder must stay until a repair() has succeeded.
    void update(const std::optional<ExtensionRow>& before, const std::optional<ExtensionRow>& after,
                const StoreLock&);

    /// Makes all links and masks anew, also in the folders of `linkedProducts`, an older
    /// linkedProductsText(). On return no link leads to a folder that no row names. Throws as
    /// update() does; then folders that no row names must stay.
    void repair(const std::vector<ExtensionRow>& rows, const std::string& linkedProducts,
                const StoreLock&);

    /// Whether a link or a mask is missing that a row wants, or a link leads elsewhere, so that
    /// repair() has work to do.
    bool isIncomplete(ExtensionTable& table);

    /// Whether links stand in another folder than the store's own, which no Settlement watches.
    /// What stands in it may change at any time.
    bool hasFolderOutside() const;

    bool isMasked(const std::string& idKey) const { return masks_.read().count(idKey) != 0; }

    /// Masks an extension of the shared store for this user, durably. After a failure some of the
    /// mask may be there; see hasMadeMask().
    void setMask(const ExtensionRow& shared, const StoreLock&);
    bool hasMadeMask(const std::string& idKey) const { return masks_.hasMade(idKey); }

    /// Throws where clearMask() would, as far as that can be known before.
    void requireClearableMask(const std::string& idKey) const { masks_.requireClearable(idKey); }

    /// Takes the mask away. After a failure it is still there.
    void clearMask(const ExtensionRow& shared, const StoreLock&);

    /// Makes that durable.
    void synchroniseMasks() { masks_.synchronise(); }

  private:
    /// Where a link shall lead, by name.
    using Links = std::unordered_map<std::string, std::string>;
    /// A folder in which a host application looks for its enabled extensions, and the link there.
    struct Place {
        std::string folder;
        std::string name;
    };
    /// The names that settle() is about, and nothing else in the folder; none: all.
    using Names = std::optional<std::vector<std::string>>;

    std::vector<Place> placesOf(const ExtensionRow& row) const;
    Closed closedAt(const std::string& path) const;
    bool isOthersLink(const std::string& folder, const std::string& target) const;
    bool wantsLinkIn(const std::string& commonFolder, const ExtensionRow& row) const;
    Links wantedIn(const std::string& folder, const std::vector<ExtensionRow>& rows,
                   const std::vector<ExtensionRow>& rowsOfOther) const;
    void settle(const std::string& folder, const std::vector<ExtensionRow>& rows,
                const Names& names);
    void apply(const std::string& path, const Links& wanted, const Names& names);
    std::vector<std::string> unwanted(const std::string& path, const Links& wanted,
                                      const Names& names) const;
    LinkFolder* folderAt(const std::string& path, Missing missing);
    bool isCommon(const std::string& folder) const;
    std::vector<ExtensionRow> othersRows(const Names& names) const;
    std::optional<std::vector<ExtensionRow>> othersRowsIfUsable(const Names& names) const;
    std::vector<ExtensionRow> othersAtFirst(const Names& names) const;
    void readAhead(const ExtensionRow& row);
    bool areMasksIncomplete(const ExtensionList& list) const;
    void mask(const ExtensionRow& row, const StoreLock& lock);
    void repairMasks(const std::vector<ExtensionRow>& rows, const StoreLock& lock);
    void synchronise();

    const StoreFolder& store_;
    const std::optional<StoreLocation>& other_;
    const ProductCatalog& products_;
    Settlement& settlement_;
    MaskKeeper masks_;
    LinkTargets targets_;
    std::map<std::string, LinkFolder> folders_;       ///< open, by path
    std::optional<std::vector<ExtensionRow>> ahead_;  ///< the other's, read by prepare()
};

}  // namespace tavik
