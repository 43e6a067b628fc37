#pragma once

#include <string>
#include <vector>

#include "platform/core/session/Inventory.h"

namespace tavik {

/// Something in a store that is not as the rows say.
struct StoreProblem {
    enum class Kind { noFolder, noRow, noLink, wrongLink };

    std::string id;    ///< of the extension; empty: of none
    std::string path;  ///< what is missing, or wrong
    Kind kind;
};

/// Compares the rows with the folders below `ext/` and with the links in the products' folders.
/// Changes nothing. `locations` are the inventory's. Throws failures to read a folder.
std::vector<StoreProblem> findProblems(const Inventory& inventory, const ProductCatalog& products,
                                       const std::vector<StoreLocation>& locations);

}  // namespace tavik
