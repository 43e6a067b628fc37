#pragma once

#include <optional>
#include <string>

#include "platform/core/package/Version.h"
#include "platform/core/store/StoreChange.h"

namespace tavik {

/// Where a package comes from, and what it must be.
struct PackageSource {
    std::string place;  ///< a path, or an address with "://"; empty: the feeds that are known
    std::string id;     ///< the extension's; empty: any
    std::optional<Version> version;     ///< exactly this one
    std::optional<Version> minVersion;  ///< this one or a newer one
    std::string sha256;                 ///< of the package; empty: any
    /// Whether it may take the place of a newer version that is installed.
    InstallDetails::OlderVersion olderVersion = InstallDetails::OlderVersion::refused;
};

}  // namespace tavik
