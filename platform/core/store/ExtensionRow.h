#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/package/Manifest.h"
#include "platform/core/package/ProductRequirement.h"
#include "platform/core/package/Version.h"

namespace tavik {

/// The numbers are the interface's and the database's.
enum class ExtensionState { disabled = 0, enabled = 1 };

/// Who made a change. -1 and an empty name where it is not known.
struct Actor {
    std::int64_t number = -1;  ///< the user's number
    std::string name;          ///< as the machine's list of users had it then
};

/// What the store knows of one installed extension.
struct ExtensionRow {
    std::string id;
    std::string idKey;  ///< the id in lower case: two ids that differ in case only are one
    std::string name;
    Version version;
    std::string storeName;
    std::string updateUrl;
    std::string folder;  ///< below ext/, e.g. "com.example.a@5f0c..."; see isFolderName
    std::string signer;  ///< fingerprint of the key that signed the package; empty: unsigned
    ExtensionState state = ExtensionState::enabled;
    bool requiresAccount = false;
    std::vector<ProductRequirement> products;  ///< in the manifest's order
    std::string installedAt;                   ///< RFC 3339, UTC; empty where it is not known
    Actor installedBy;
};

/// The row of an extension that is installed into that folder: enabled, and without what the
/// manifest does not know.
ExtensionRow rowOf(const Manifest& manifest, std::string folder);

/// What lists show of an extension. The texts live in the arena that they were read into.
struct ListedExtension {
    std::string_view id;
    std::string_view idKey;
    std::string_view name;
    std::string_view version;
    std::string_view storeName;
    ExtensionState state = ExtensionState::enabled;
};

/// That a listed extension was made for a product.
struct ListedMembership {
    std::size_t extension;     ///< position in the list
    std::string_view product;  ///< internal name
};

/// The extensions of one store, and what each was made for.
struct ExtensionList {
    std::vector<ListedExtension> extensions;
    std::vector<ListedMembership> memberships;
};

/// Takes such a list piece by piece, so that nobody keeps all of it twice.
struct ListSink {
    std::function<void(std::size_t)> count;  ///< of the extensions that follow
    std::function<void(const ListedExtension&)> extension;
    std::function<void(const ListedMembership&)> membership;
};

}  // namespace tavik
