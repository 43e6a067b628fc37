#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/core/session/Inventory.h"

namespace tavik {

/// What the disk holds of an installed extension, besides its row.
struct ExtensionDetails {
    std::string manifest;            ///< the bytes of its extension.json; empty if missing
    std::vector<std::string> links;  ///< absolute paths in host products' folders that lead to it
    std::string feed;                ///< address of its updates; empty if it has none
    std::int64_t files = 0;
    std::int64_t bytes = 0;        ///< of the files together
    std::optional<Error> failure;  ///< why not all of this could be found
};

/// Looks at the files and links of the entry; `locations` are the stores whose folders may have its
/// links. Changes nothing.
ExtensionDetails detailsOf(const InventoryEntry& entry, const ProductCatalog& products,
                           const std::vector<StoreLocation>& locations);

}  // namespace tavik
