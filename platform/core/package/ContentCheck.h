#pragma once

#include <memory>
#include <string_view>

#include "platform/core/package/Archive.h"

namespace tavik {

/// Follows the bytes of one file while they are extracted.
class FileCheck {
  public:
    virtual ~FileCheck() = default;
    /// The next bytes, exactly as they are written.
    virtual void take(std::string_view bytes) = 0;
    /// The last bytes have been taken. Throws Error where the file is not the expected one.
    virtual void finish() = 0;
};

/// What an extraction has its files compared with.
class ContentCheck {
  public:
    virtual ~ContentCheck() = default;
    /// Starts the check of one file of the archive. Called from any thread, for several files at a
    /// time; the result is used by one thread and does not outlive this object. Throws Error for a
    /// file that must not be extracted at all.
    virtual std::unique_ptr<FileCheck> start(const ArchiveEntry& entry) const = 0;
};

}  // namespace tavik
