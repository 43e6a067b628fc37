#include "platform/core/package/Package.h"

#include <algorithm>

namespace tavik {
namespace {

std::string readEntry(const PackageFile& file, const ArchiveEntry& entry) {
    std::string content;
    content.reserve(static_cast<std::size_t>(entry.size));
    EntryReader(file).read(entry, [&](std::string_view bytes) { content += bytes; });
    return content;
}

std::string readManifestText(const PackageFile& file, const Archive& archive,
                             const JsonLimits& limits, const FaultSink& report) {
    const std::string place(kManifestPath);
    const ArchiveEntry* entry = archive.find(kManifestPath);
    if (entry == nullptr || entry->isFolder())
        stopAt(report, {Status::manifestInvalid, place, "is missing"});
    if (entry->size > limits.bytes)
        stopAt(report,
               {Status::packageTooLarge, place,
                std::to_string(entry->size) + " bytes, more than " + std::to_string(limits.bytes)});
    return readEntry(file, *entry);
}

void checkContents(const PackageFile& file, const Archive& archive, const FaultSink& report) {
    EntryReader reader(file);
    for (const ArchiveEntry& entry : archive.entries()) {
        try {
            reader.read(entry, [](std::string_view) {});
        } catch (const Error& error) {
            report({static_cast<Status>(error.status()), "", error.detail()});
        }
    }
}

}  // namespace

Package Package::open(const std::string& path, const PackageLimits& limits) {
    return open(PackageFile::open(path), limits);
}

Package Package::open(PackageFile file, const PackageLimits& limits) {
    const FaultSink report = throwOnFault(file.name());
    Package package;
    package.file_ = std::move(file);
    package.archive_ = Archive::read(package.file_, limits, report);
    package.manifestText_ =
        readManifestText(package.file_, package.archive_, limits.manifest, report);
    package.manifest_ = parseManifest(package.manifestText_, limits.manifest, report);
    return package;
}

std::string Package::read(const ArchiveEntry& entry, std::uint64_t limit) const {
    if (entry.size > limit)
        fail(Status::packageTooLarge, path(),
             entryPlace(entry.path) + ": " + std::to_string(entry.size) + " bytes, more than " +
                 std::to_string(limit));
    return readEntry(file_, entry);
}

void Package::stream(const ArchiveEntry& entry, const ByteSink& sink) const {
    EntryReader(file_).read(entry, sink);
}

std::vector<Fault> findFaults(const std::string& path, const PackageLimits& limits) {
    std::vector<Fault> faults;
    const FaultSink collect = [&](const Fault& fault) { faults.push_back(fault); };
    const PackageFile file = PackageFile::open(path);
    try {
        const Archive archive = Archive::read(file, limits, collect);
        if (faults.empty())  // Otherwise the sizes and offsets are not reliable.
            checkContents(file, archive, collect);
        parseManifest(readManifestText(file, archive, limits.manifest, collect), limits.manifest,
                      collect);
    } catch (const CheckStopped&) {
        // After that fault nothing more can be checked.
    } catch (const Error& error) {
        // A manifest that does not inflate was reported with the other contents.
        if (faults.empty())
            throw;
    }
    return faults;
}

}  // namespace tavik
