#pragma once

#include <optional>
#include <string>

namespace tavik {

/// Whom a store serves: the current user, or all users of the machine.
enum class Scope { user, shared };

/// Where a store's family folder is; it need not exist.
struct StoreLocation {
    Scope scope = Scope::user;
    std::string root;        ///< absolute path of the store
    std::string family;      ///< one path component, e.g. "QZ"
    std::string variable{};  ///< of the environment, that leads there; empty: none

    std::string familyFolder() const { return root + "/" + family; }
};

/// `TAVIK_HOME`, else the user's data home; nothing where there is no such place. A relative
/// TAVIK_HOME is refused (Status::noHome).
std::optional<StoreLocation> userStore(const std::string& family);

/// `TAVIK_SHARED_HOME`, else /var/lib/tavik. A relative value is refused (Status::noHome).
StoreLocation sharedStore(const std::string& family);

}  // namespace tavik
