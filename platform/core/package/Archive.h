#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/package/Fault.h"
#include "platform/core/package/PackageFile.h"
#include "platform/core/package/PackageLimits.h"

namespace tavik {

/// One file or folder of an archive, its headers checked.
struct ArchiveEntry {
    enum class Kind : std::uint8_t { file, executable, folder };
    enum class Method : std::uint8_t { stored, deflated };

    /// As stored: relative, components joined by `/`; a folder's name ends without one.
    std::string path;
    Kind kind = Kind::file;
    Method method = Method::stored;
    std::uint32_t crc = 0;
    std::uint64_t size = 0;
    std::uint64_t compressedSize = 0;
    std::uint64_t dataOffset = 0;  ///< of the first compressed byte in the package

    bool isFolder() const noexcept { return kind == Kind::folder; }
    bool isExecutable() const noexcept { return kind == Kind::executable; }
};

/// What a fault of this entry is reported under: `entry "a/b.txt"`.
std::string entryPlace(std::string_view path);

/// The entries of a ZIP file whose container has been checked from its raw headers. All readers
/// find the same entries in it. Every path stays beneath the folder of the extraction, on any file
/// system. The sizes that it claims are within the limits. Contents are not read.
class Archive {
  public:
    /// Faults: packageDamaged (the container), packageUnsafe (names, types, modes), packageTooLarge
    /// (limits), packageUnsupported (methods, flags). Throws Error where reading fails.
    static Archive read(const PackageFile& file, const PackageLimits& limits,
                        const FaultSink& report);

    Archive() = default;
    Archive(Archive&&) = default;
    Archive& operator=(Archive&&) = default;

    /// In the order of their bytes in the package.
    const std::vector<ArchiveEntry>& entries() const noexcept { return entries_; }

    /// Every folder, also where only the path of a file implies it. Parents come first.
    const std::vector<std::string>& folders() const noexcept { return folders_; }

    /// The file or folder with exactly that path; null where the archive lists none.
    const ArchiveEntry* find(std::string_view path) const noexcept;

    /// Bytes of all files, inflated.
    std::uint64_t totalBytes() const noexcept { return totalBytes_; }

  private:
    std::vector<ArchiveEntry> entries_;
    std::vector<std::string> folders_;
    std::vector<std::uint32_t> byPath_;  ///< positions in entries_, in the order of their paths
    std::uint64_t totalBytes_ = 0;
};

}  // namespace tavik
