#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/core/package/Archive.h"
#include "platform/core/package/ArchiveRecords.h"
#include "platform/core/package/Fault.h"
#include "platform/core/package/PackageLimits.h"

namespace tavik {

/// A directory record and what was made of it, while the container is judged.
struct JudgedEntry {
    DirectoryRecord record;
    ArchiveEntry entry;
};

/// All but the place of the data, which the local header tells.
ArchiveEntry toEntry(const DirectoryRecord& record);

/// Method, flags, type and mode of one entry.
void checkEntry(const JudgedEntry& judged, const FaultSink& report);

/// The claimed sizes, of each and in all; the bytes in all.
std::uint64_t checkSizes(const std::vector<JudgedEntry>& all, const PackageLimits& limits,
                         const FaultSink& report);

/// The paths, of each and beside each other; every folder that they need, parents first.
std::vector<std::string> checkPaths(const std::vector<JudgedEntry>& all,
                                    const PackageLimits& limits, const FaultSink& report);

}  // namespace tavik
