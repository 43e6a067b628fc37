#pragma once

#include <libdeflate.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/disk/AtomicFile.h"
#include "platform/core/package/Package.h"

namespace tavik::qpk {

/// Writes a package: entries back to back, then the directory. The same entries in the same order
/// give the same bytes: no times, no owners, and only the executable bit of the modes.
class ArchiveWriter {
  public:
    /// `file` is empty and outlives the writer.
    explicit ArchiveWriter(AtomicFile& file);

    /// Deflated where that makes it smaller. A folder has no content.
    void add(const std::string& path, ArchiveEntry::Kind kind, std::string_view content);

    /// Copies an entry of another package without inflating its data.
    void copy(const Package& package, const ArchiveEntry& entry);

    /// Writes the directory. Nothing can be added after that.
    void finish();

  private:
    void writeHeader(const ArchiveEntry& entry);

    struct Free {
        void operator()(libdeflate_compressor* c) const noexcept { libdeflate_free_compressor(c); }
    };

    AtomicFile& file_;
    std::unique_ptr<libdeflate_compressor, Free> compressor_;
    std::string directory_;
    std::size_t entries_ = 0;
};

}  // namespace tavik::qpk
