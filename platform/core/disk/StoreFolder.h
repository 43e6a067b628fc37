#pragma once

#include <optional>
#include <string>

#include "platform/core/disk/StoreLocation.h"
#include "platform/support/FileDescriptor.h"

namespace tavik {

/// An open family folder that was found safe: a real folder, of the current user or root, that
/// nobody else can write to. All work in the store goes through its descriptor.
class StoreFolder {
  public:
    /// Nothing where the folder does not exist. Throws Status::storeUnsafe and errno failures.
    static std::optional<StoreFolder> open(const StoreLocation& location);

    /// Makes what is missing: the store and its family folder.
    static StoreFolder create(const StoreLocation& location);

    int descriptor() const noexcept { return descriptor_.get(); }
    const StoreLocation& location() const noexcept { return location_; }
    /// Absolute and without links, so that two spellings of one store give one path.
    const std::string& path() const noexcept { return path_; }

    /// Opens a folder below ("ext", "staging"), making it with mode 0755 where it is missing.
    FileDescriptor subfolder(const std::string& name) const;

    /// The same without making it: an invalid descriptor where it is missing.
    FileDescriptor existingSubfolder(const std::string& name) const;

  private:
    StoreFolder(StoreLocation location, FileDescriptor descriptor);

    StoreLocation location_;
    std::string path_;
    FileDescriptor descriptor_;
};

}  // namespace tavik
