#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/core/package/Archive.h"
#include "platform/core/package/EntryReader.h"
#include "platform/core/package/Manifest.h"
#include "platform/core/package/PackageFile.h"
#include "platform/core/package/PackageLimits.h"

namespace tavik {

/// An open .qpk whose container and manifest have been checked. Later reads use the same descriptor
/// and are checked against the headers read at the beginning. Whoever can write
/// to the file can still change content: a ContentCheck finds that while it is extracted.
class Package {
  public:
    /// Throws Error about `path`: packageUnreadable where it cannot be opened or is no regular
    /// file, and what Archive and Manifest refuse.
    static Package open(const std::string& path, const PackageLimits& limits = {});

    /// The same for a file that is open already.
    static Package open(PackageFile file, const PackageLimits& limits = {});

    /// As the caller named it.
    const std::string& path() const noexcept { return file_.name(); }
    const PackageFile& file() const noexcept { return file_; }
    const Manifest& manifest() const noexcept { return manifest_; }
    /// The bytes that the manifest was read from.
    const std::string& manifestText() const noexcept { return manifestText_; }
    const Archive& archive() const noexcept { return archive_; }

    /// The entry's content, whole. Throws Error: packageTooLarge over `limit` bytes, packageDamaged
    /// where it does not inflate to exactly what its headers say.
    std::string read(const ArchiveEntry& entry, std::uint64_t limit) const;

    /// Hands the entry's content to `sink` in pieces, with bounded memory whatever its size. The
    /// content is right only if this returns: a fault may show after the last piece. Throws as
    /// read.
    void stream(const ArchiveEntry& entry, const ByteSink& sink) const;

  private:
    Package() = default;

    PackageFile file_;
    Archive archive_;
    std::string manifestText_;
    Manifest manifest_;
};

/// All faults of a package that can be told from the file alone, by place: container, manifest and
/// every entry's content. Empty exactly where Package::open and an extraction would succeed.
/// Throws Error (packageUnreadable) where the file cannot be read.
std::vector<Fault> findFaults(const std::string& path, const PackageLimits& limits = {});

}  // namespace tavik
