#include "tools/qpk/FolderPacking.h"

#include "tools/qpk/ArchiveWriter.h"
#include "tools/qpk/PackageCheck.h"
#include "tools/qpk/Progress.h"
#include "tools/qpk/SourceFolder.h"

namespace tavik::qpk {
namespace {

void writeEntries(const std::string& folder, const std::vector<SourceEntry>& entries,
                  const PackageLimits& limits, OutputFile& file, Progress& progress) {
    ArchiveWriter writer(file);
    std::uint64_t done = 0;
    for (const SourceEntry& entry : entries) {
        writer.add(entry.path, entry.kind,
                   entry.kind == ArchiveEntry::Kind::folder
                       ? std::string()
                       : readSourceFile(folder, entry.path, limits.fileBytes));
        progress.reached(done += entry.size);
    }
    writer.finish();
}

}  // namespace

PackedFolder packFolder(const std::string& folder, OutputFile& file) {
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
    std::uint64_t total = 0;
    for (const SourceEntry& entry : entries)
        total += entry.size;
    Progress progress("packing", total);
    writeEntries(folder, entries, limits, file, progress);
    progress.goOnWith("checking");
    for (Fault& fault : findAuthorFaults(file.temporaryPath()))
        packed.faults.push_back(std::move(fault));
    return packed;
}

}  // namespace tavik::qpk
