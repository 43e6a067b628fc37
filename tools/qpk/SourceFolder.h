#pragma once

#include <string>
#include <vector>

#include "platform/core/package/Archive.h"
#include "platform/core/package/Fault.h"
#include "platform/core/package/PackageLimits.h"

namespace tavik::qpk {

/// A file or an empty folder beneath the folder that a package is made from.
struct SourceEntry {
    std::string path;  ///< relative to that folder
    ArchiveEntry::Kind kind;
    std::uint64_t size = 0;  ///< in bytes, when the folder was read
};

/// What a package made from the folder contains, ordered by the bytes of the paths: everything that
/// the folder's IgnoreRules do not leave out. Faults: links
/// and special files, a reserved folder, more entries than a package may have. Throws Error where
/// something cannot be read.
std::vector<SourceEntry> readSourceFolder(const std::string& folder, const PackageLimits& limits,
                                          const FaultSink& report);

/// The content of one of its files. Throws Error (packageTooLarge over `limit` bytes).
std::string readSourceFile(const std::string& folder, const std::string& path, std::uint64_t limit);

}  // namespace tavik::qpk
