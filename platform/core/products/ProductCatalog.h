#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/core/disk/StoreFolder.h"
#include "platform/core/package/Version.h"
#include "platform/core/status/Status.h"

namespace tavik {

/// A host product that is installed on this machine, as its descriptor tells.
struct Product {
    std::string name;         ///< internal name, at most 63 bytes
    std::string displayName;  ///< at most 63 bytes
    Version version;
    std::string extensionsFolder;  ///< absolute path, "~/..." or empty; see extensionsFolderOf()
    std::string updateFeed;        ///< empty: none
    Scope scope = Scope::user;     ///< of the store that describes it
};

/// Reads the text of a descriptor; the product's scope stays the user's. Throws JsonError.
Product parseDescriptor(std::string_view json);

/// The host products that descriptors in `products.d/` of the stores make known.
class ProductCatalog {
  public:
    /// Reads the descriptors of each location; an earlier location's product wins over a later
    /// one's of the same name. A missing folder has no products. A folder that cannot be read is a
    /// failure, and so is a file that the disk cannot read. Only where the shared store beside a
    /// user's is not usable, see failure().
    static ProductCatalog load(const std::vector<StoreLocation>& locations);

    /// Ordered by the bytes of their display names.
    const std::vector<Product>& products() const noexcept { return products_; }

    /// The descriptors that were left out: not valid, not safe, out of the reader's reach, or with
    /// the display name of a product that counts before theirs. Each error names its file.
    const std::vector<Error>& leftOut() const noexcept { return leftOut_; }

    /// Why the shared store's products are not known, if they are not. Lists go on without them.
    /// Changes do not: they would take the links of those products away.
    const std::optional<Error>& failure() const noexcept { return failure_; }

    /// Null where there is no such product.
    const Product* byName(const std::string& name) const;
    const Product* byDisplayName(const std::string& displayName) const;

  private:
    void read(const StoreFolder& store);
    void add(const StoreFolder& store, int folder, const std::string& fileName);
    void sort();
    void index(std::size_t position);

    std::vector<Product> products_;
    std::unordered_map<std::string, std::size_t> byName_;  ///< positions in products_
    std::unordered_map<std::string, std::size_t> byDisplayName_;
    std::vector<Error> leftOut_;
    std::optional<Error> failure_;
};

/// Whether `name` can name a product: 1 to 63 bytes of printable UTF-8 that can name a folder.
bool isProductName(const std::string& name) noexcept;

/// Where the host application looks for its enabled extensions; `store` is the extension's own. A
/// folder that begins with "~/" is below HOME for the user's store, where HOME must be an absolute
/// path (Status::noHome); the shared store uses a folder of its own then, as without any.
std::string extensionsFolderOf(const Product& product, const StoreLocation& store);

/// Whether both stores put their links for this product in one folder.
bool isCommonFolder(const Product& product) noexcept;

}  // namespace tavik
