#include "tools/qpk/FolderPacking.h"

#include "platform/support/ProgressLine.h"
#include "tools/qpk/ArchiveWriter.h"
#include "tools/qpk/PackageCheck.h"
#include "tools/qpk/SourceFolder.h"

namespace tavik::qpk {
namespace {

void writeEntries(const std::string& folder, const std::vector<SourceEntry>& entries,
                  const PackageLimits& limits, AtomicFile& file) {
    ArchiveWriter writer(file);
    std::uint64_t done = 0;
    std::uint64_t total = 0;
    for (const SourceEntry& entry : entries)
        total += entry.size;
    ProgressLine progress;
    for (const SourceEntry& entry : entries) {
        writer.add(entry.path, entry.kind,
                   entry.kind == ArchiveEntry::Kind::folder
                       ? std::string()
                       : readSourceFile(folder, entry.path, limits.fileBytes));
        progress.show(done += entry.size, total);
    }
    writer.finish();
}

}  // namespace

PackedFolder packFolder(const std::string& folder, AtomicFile& file) {
    const PackageLimits limits;
    PackedFolder packed;
    std::vector<SourceEntry> entries;
    try {
        entries = readSourceFolder(folder, limits,
                                   [&](const Fault& fault) { packed.faults.push_back(fault); });
    } catch (const CheckStopped&) {
        return packed;
    }
    packed.files = entries.size();
    writeEntries(folder, entries, limits, file);
    for (Fault& fault : findAuthorFaults(file.temporaryPath()))
        packed.faults.push_back(std::move(fault));
    return packed;
}

}  // namespace tavik::qpk
