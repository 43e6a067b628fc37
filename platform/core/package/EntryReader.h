#pragma once

#include <libdeflate.h>

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/core/package/Archive.h"
#include "platform/core/package/PackageFile.h"

namespace tavik {

/// Takes an entry's bytes, piece by piece, from first to last.
using ByteSink = std::function<void(std::string_view bytes)>;

/// Gives back the content of one package's entries. Keeps its buffers from entry to entry, so each
/// thread has a reader of its own; it never holds more than 8 MiB, whatever the entry's size.
class EntryReader {
  public:
    /// `file` outlives the reader. Throws std::bad_alloc.
    explicit EntryReader(const PackageFile& file);

    /// Hands the content to `sink`. Throws Error (packageDamaged) at the first byte that is more
    /// than the entry's size, for content that is shorter, whose CRC differs, or whose deflated
    /// stream does not end exactly where its data ends; pieces may have been handed over by then.
    void read(const ArchiveEntry& entry, const ByteSink& sink);

  private:
    void readStored(const ArchiveEntry& entry, const ByteSink& sink);
    void inflateWhole(const ArchiveEntry& entry, const ByteSink& sink);
    void inflateStream(const ArchiveEntry& entry, const ByteSink& sink);
    [[noreturn]] void failDamaged(const ArchiveEntry& entry, const char* text) const;

    struct Free {
        void operator()(libdeflate_decompressor* d) const noexcept {
            libdeflate_free_decompressor(d);
        }
    };

    const PackageFile& file_;
    std::unique_ptr<libdeflate_decompressor, Free> decompressor_;
    std::vector<char> compressed_;
    std::vector<char> content_;
};

}  // namespace tavik
