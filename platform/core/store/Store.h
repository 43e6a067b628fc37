#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/core/disk/StoreFolder.h"
#include "platform/core/package/Extraction.h"
#include "platform/core/package/Package.h"
#include "platform/core/products/ProductCatalog.h"
#include "platform/core/store/ExtensionTable.h"
#include "platform/core/store/LinkKeeper.h"
#include "platform/core/store/StoreChange.h"

namespace tavik {

/// The changes of one store. Each is done, or throws and has changed nothing.
///
/// Every change begins alike. It takes the lock, and repairs what the last one left:
///  - no database, but installed folders, or a database that is not sound: the rows are built anew
///    from the version before it and from the folders, and written; the damaged file is set aside;
///  - a database of the earlier form: its rows are written in the new form, the files set aside
///    until the next change;
///  - the mark of an interrupted change: the links are made anew from the rows. If that works, the
///    folders that no row names are deleted, and with them the mark; a link that could not be
///    switched still needs its old folder;
///  - no mark, but folders and rows that disagree: the folders are adopted or set aside. Where
///    nothing has changed since the last change, this is not looked for (Settlement);
///  - links that were made for other products, or before the store was moved: they are made anew.
/// Then the change does its own work in the steps of StoreChange.
///
/// A full disk does not stop a removal: the store's reserve is deleted, and the work is done again.
class Store {
  public:
    /// `other`: the other store that this user works with, if any. `products`: the host products
    /// whose folders get the links; must outlive the store.
    Store(StoreFolder folder, std::optional<StoreLocation> other, const ProductCatalog& products,
          WarningSink warn);

    // The links' keeper refers to the members beside it.
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    /// Installs a package that fits a product, or replaces the installed version with it; a
    /// replaced extension keeps its state. Refuses an older version than the installed one unless
    /// the details allow it, and another signer than the installed one's.
    ExtensionRow install(const Package& package, const InstallDetails& details);

    /// Throws Status::extensionNotFound where there is none; `name` stands for it in failures.
    void remove(const std::string& idKey, const std::string& name);
    void setState(const std::string& idKey, const std::string& name, ExtensionState state);

    /// For a user's store: switches an extension of the shared store off for this user alone, or
    /// takes that back. No row changes.
    void setMask(const ExtensionRow& shared, ExtensionState state);

    /// Adds a line to the history, for a change that is made elsewhere.
    void record(const HistoryLine& line);

    /// What every change begins with, and all links anew, also where nothing seems to be wrong.
    void repair();

    /// Finishes what an interrupted change left, where nobody else is changing the store and this
    /// user has the right to. False where it could not be done; that is told to nobody.
    bool finishInterrupted() noexcept;

  private:
    /// Whether links may still lead to folders that no row names, which must stay then.
    enum class OldLinks { gone, mayRemain };

    ExtensionRow tryInstall(const Package& package, const InstallDetails& details);
    void tryRemove(const std::string& idKey, const std::string& name);
    void trySetState(const std::string& idKey, const std::string& name, ExtensionState state);
    void trySetMask(const ExtensionRow& shared, ExtensionState state);
    void setMaskAndCommit(StoreChange& change, const ExtensionRow& shared);
    void takeMaskBack(StoreChange& change, const ExtensionRow& shared);
    void commitAndClearMask(StoreChange& change, const ExtensionRow& shared);
    void catchUp(StoreChange& change);
    void commitLinkedProducts(StoreChange& change);
    OldLinks repairLinks(StoreChange& change);
    OldLinks updateLinks(StoreChange& change, const std::optional<ExtensionRow>& before,
                         const std::optional<ExtensionRow>& after);

    StoreFolder folder_;
    std::optional<StoreLocation> other_;
    const ProductCatalog& products_;
    Settlement settlement_;
    LinkKeeper links_;
    WarningSink warn_;
};

}  // namespace tavik
