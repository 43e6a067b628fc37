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

/// Everything but the offset of the data, which only the local header gives.
ArchiveEntry toEntry(const DirectoryRecord& record);

/// Checks method, flags, type and mode of one entry.
void checkEntry(const JudgedEntry& judged, const FaultSink& report);

/// Checks the claimed sizes of each entry and in total. Returns the total bytes.
std::uint64_t checkSizes(const std::vector<JudgedEntry>& all, const PackageLimits& limits,
                         const FaultSink& report);

/// Checks each path, and all paths against each other. Returns every folder that they need,
/// parents first.
std::vector<std::string> checkPaths(const std::vector<JudgedEntry>& all,
                                    const PackageLimits& limits, const FaultSink& report);

}  // namespace tavik
