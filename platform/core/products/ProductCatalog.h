#pragma once

#include <string>
#include <vector>

#include "platform/core/disk/StoreLocation.h"

namespace tavik {

/// A host product that is installed on this machine, as its descriptor tells.
struct Product {
    std::string name;              ///< internal name, at most 63 bytes
    std::string displayName;       ///< at most 63 bytes
    std::string version;           ///< a valid version
    std::string extensionsFolder;  ///< absolute path, or empty: a folder in the store
    std::string updateFeed;        ///< empty: none
    Scope scope = Scope::user;     ///< of the store that has the descriptor
};

/// The host products that descriptors in `products.d/` of the stores make known.
class ProductCatalog {
  public:
    /// Reads the descriptors of each location; an earlier location's product wins over a later
    /// one's of the same name. A missing folder has no products; a descriptor that is not valid is
    /// refused with Status::productInvalid, naming the file.
    static ProductCatalog load(const std::vector<StoreLocation>& locations);

    /// Ordered by the bytes of their display names.
    const std::vector<Product>& products() const noexcept { return products_; }

    /// Null where there is no such product.
    const Product* byName(const std::string& name) const noexcept;
    const Product* byDisplayName(const std::string& displayName) const noexcept;

  private:
    std::vector<Product> products_;
};

/// Where the host application looks for its enabled extensions; `store` is the extension's own.
std::string extensionsFolderOf(const Product& product, const StoreLocation& store);

}  // namespace tavik
