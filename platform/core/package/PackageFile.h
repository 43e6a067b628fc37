#pragma once

#include <cstdint>
#include <string>

#include "platform/core/disk/RegularFile.h"
#include "platform/support/FileDescriptor.h"

namespace tavik {

/// The open file of a package. It is read with pread alone: a mapping would crash the process if
/// somebody shortened the file. Any number of threads may read at once.
class PackageFile {
  public:
    PackageFile() = default;
    /// Throws Error (packageUnreadable) where `path` cannot be opened or is no regular file; never
    /// waits, not even for a pipe's writer.
    static PackageFile open(const std::string& path);
    /// The same for a file that is open for reading; `name` stands for it in failures.
    static PackageFile adopt(FileDescriptor descriptor, std::string name);

    /// As the caller named it.
    const std::string& name() const noexcept { return name_; }
    /// Bytes, when it was opened.
    std::uint64_t size() const noexcept { return size_; }
    int descriptor() const noexcept { return descriptor_.get(); }

    /// Fills `buffer`. Throws Error: packageUnreadable where reading fails, packageDamaged where
    /// the file ends before.
    void readAt(std::uint64_t offset, char* buffer, std::size_t size) const;

  private:
    PackageFile(RegularFile file, std::string name);

    std::string name_;
    FileDescriptor descriptor_;
    std::uint64_t size_ = 0;
};

}  // namespace tavik
