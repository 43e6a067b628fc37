#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/core/disk/StoreFolder.h"
#include "platform/core/package/Extraction.h"
#include "platform/core/package/Package.h"
#include "platform/core/products/ProductCatalog.h"
#include "platform/core/store/ExtensionTable.h"
#include "platform/core/store/LinkKeeper.h"
#include "platform/core/trust/Signer.h"

namespace tavik {

/// What an install is told besides the package.
struct InstallDetails {
    Signer signer;
    Progress progress;                            ///< may be empty
    std::shared_ptr<const ContentCheck> content;  ///< what the files are compared with; may be null
};

/// Told of trouble that does not undo a change: the next change repairs it.
using WarningSink = std::function<void(const Error&)>;

class StoreChange;

/// The changes of one store. Each takes the store's lock, finishes or undoes what an interrupted
/// change left behind, and is done or has changed nothing when it comes back. The database's commit
/// decides: a row always has its folder below `ext/`, a folder without a row is garbage, and the
/// links in the products' folders are made from the rows.
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
    /// replaced extension keeps its state. Refuses an older version than the installed one, and
    /// another signer than the installed one's.
    ExtensionRow install(const Package& package, const InstallDetails& details);

    /// Throws Status::extensionNotFound where there is none; `name` stands for it in failures.
    void remove(const std::string& idKey, const std::string& name);
    void setState(const std::string& idKey, const std::string& name, ExtensionState state);

    /// For a user's store: switches an extension of the shared store off for this user alone, or
    /// takes that back. No row changes.
    void setMask(const ExtensionRow& shared, ExtensionState state);

  private:
    /// Whether links may still lead to folders that no row names, which must stay then.
    enum class OldLinks { gone, mayRemain };

    ExtensionRow tryInstall(const Package& package, const InstallDetails& details);
    void tryRemove(const std::string& idKey, const std::string& name);
    void trySetState(const std::string& idKey, const std::string& name, ExtensionState state);
    void tidyUp() noexcept;
    void catchUp(StoreChange& change);
    OldLinks repairLinks(StoreChange& change);
    OldLinks updateLinks(StoreChange& change, const std::optional<ExtensionRow>& before,
                         const std::optional<ExtensionRow>& after);

    StoreFolder folder_;
    std::optional<StoreLocation> other_;
    LinkKeeper links_;
    WarningSink warn_;
};

}  // namespace tavik
