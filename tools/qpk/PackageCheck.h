#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/core/package/Fault.h"
#include "platform/core/package/Manifest.h"

namespace tavik::qpk {

/// A host product of which somebody wants to know whether a package installs there.
struct TargetProduct {
    std::string name;
    Version version;
};

/// What the core refuses in a package, signature included: all faults at once. Throws Error
/// (packageUnreadable).
std::vector<Fault> findCoreFaults(const std::string& path);

/// The same, and what an install lets pass although its author would not want it: members of the
/// manifest that are unknown, addresses that no core fetches, files that an editor or a version
/// control system left behind.
std::vector<Fault> findAuthorFaults(const std::string& path);

/// Adds the fault that a core has with the package where exactly these products are installed; none
/// where one of them fits, or where the manifest cannot be read.
void addProductFaults(const std::string& path, const std::vector<TargetProduct>& products,
                      std::vector<Fault>& faults);

/// The bytes of the package's manifest; nothing where it has none that can be read. Throws Error
/// (packageUnreadable).
std::optional<std::string> readManifestText(const std::string& path);

/// What the manifest says, with defaults in the place of what is wrong.
Manifest readManifestLeniently(const std::string& bytes);

/// One line for each fault: those of the whole first, then by entry.
std::vector<std::string> describeFaults(const std::vector<Fault>& faults);

}  // namespace tavik::qpk
