#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/disk/StoreLocation.h"
#include "platform/core/package/Version.h"
#include "platform/core/store/ExtensionTable.h"

namespace tavik {

/// What a state file wants of one extension.
struct WantedExtension {
    std::string id;
    std::optional<Version> version;     ///< exactly this one
    std::optional<Version> minVersion;  ///< this one or a newer one; never beside `version`
    std::string source;  ///< a package's path or address; empty: the feeds of the products
    std::string sha256;  ///< of the package, 64 lower-case hexadecimal digits; empty: any
    ExtensionState state = ExtensionState::enabled;
    bool isMasked = false;  ///< for all users, but switched off for this one
    Scope scope = Scope::user;

    /// Whether an installed version will do.
    bool accepts(const Version& installed) const noexcept {
        return (!version || *version == installed) && (!minVersion || *minVersion <= installed);
    }
};

/// Reads a state file: {"formatVersion": 1, "extensions": [{"id", "version" or "minVersion",
/// "source", "sha256", "state", "allUsers"}]}, where a null is a member that is left out. Throws
/// Error about `path` (stateFileInvalid) for faults, also for a member of an entry that nobody
/// reads and for an extension that one store is to have twice.
std::vector<WantedExtension> parseStateFile(std::string_view text, const std::string& path);

}  // namespace tavik
