#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/core/disk/StoreFolder.h"
#include "platform/core/disk/StoreLocation.h"
#include "platform/core/products/ProductCatalog.h"
#include "platform/core/store/ExtensionTable.h"
#include "platform/support/Error.h"

namespace tavik {

/// A product that an extension was made for, and what this machine has of it.
struct ProductFit {
    std::string name;         ///< internal name
    std::string displayName;  ///< empty if the product is not on this machine
    bool fits = false;        ///< the product is installed in a version that the extension accepts
};

/// An installed extension with everything that its store records.
struct InventoryEntry {
    ExtensionRow row;
    Scope scope = Scope::user;
    bool isMasked =
        false;           ///< in the shared store, disabled by this user, who has no copy of his own
    std::string folder;  ///< absolute path of the installed files
    std::vector<ProductFit> products;  ///< in the manifest's order
};

/// All extensions of both stores as they were when read. It includes those whose products are gone,
/// and those of the shared store of which the user has a copy of his own.
class Inventory {
  public:
    /// Gives the rows of a store, which must last while they are read; null where there are none.
    using TableOpener = std::function<ExtensionTable*(const StoreFolder&)>;

    /// A store that cannot be read has no entries here; failures() says why.
    static Inventory read(const std::vector<StoreLocation>& locations,
                          const ProductCatalog& products, const TableOpener& open);

    /// In the order of names, then of ids, the user's own copy first.
    const std::vector<InventoryEntry>& entries() const noexcept { return entries_; }

    /// Null where that store does not hold the extension.
    const InventoryEntry* find(Scope scope, const std::string& idKey) const noexcept;

    const std::vector<Error>& failures() const noexcept { return failures_; }

    /// For each database that is damaged or missing, why: its rows were made from the installed
    /// folders.
    const std::vector<Error>& troubles() const noexcept { return troubles_; }

    /// The stores whose database, links or masks are not as they have to be, for a change to
    /// finish.
    const std::vector<StoreLocation>& unfinished() const noexcept { return unfinished_; }

  private:
    void add(const StoreLocation& location, const ProductCatalog& products,
             const TableOpener& open);
    void mask(const StoreLocation& user);

    std::vector<InventoryEntry> entries_;
    std::vector<Error> failures_;
    std::vector<Error> troubles_;
    std::vector<StoreLocation> unfinished_;
};

}  // namespace tavik
