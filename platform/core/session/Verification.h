#pragma once

#include <string>
#include <vector>

#include "platform/core/session/Inventory.h"

namespace tavik {

/// A difference between a store and what its rows say.
struct StoreProblem {
    enum class Kind {
        missing,  ///< a file that was installed
        changed,  ///< its size or its content
        extra,    ///< a file that was not installed
        rights,   ///< the executable bit
        noList,   ///< nothing is known of its files: an earlier version installed it
        noFolder,
        noRow,
        noLink,
        wrongLink,
        database
    };

    std::string id;    ///< of the extension; empty where it belongs to none
    std::string path;  ///< the file, folder or link that is missing or wrong
    Kind kind;
};

/// What was found, and what could not be looked at.
struct StoreFindings {
    struct Failure {
        std::string id;  ///< of the extension; empty where it belongs to none
        Error error;
    };

    std::vector<StoreProblem> problems;
    std::vector<Failure> failures;  ///< one for each extension that was not checked to its end
};

/// Compares the rows with the folders below `ext/`, with the links in the products' folders, and
/// every installed file with what was recorded when it was installed. Changes nothing. `locations`
/// are the inventory's.
StoreFindings findProblems(const Inventory& inventory, const ProductCatalog& products,
                           const std::vector<StoreLocation>& locations);

}  // namespace tavik
