#pragma once

#include <string>
#include <unordered_map>

#include "platform/core/crypto/Crypto.h"
#include "platform/core/package/ContentCheck.h"

namespace tavik {

/// Compares a package's files with the digests that its signature vouches for, byte by byte as they
/// are extracted. A check before the extraction would not be enough: the package could be changed
/// between the two.
class ContentDigests final : public ContentCheck {
  public:
    /// `digests`: SHA-256 of each file by its path in the archive, in lower-case hexadecimal
    /// digits. `crypto` outlives this object.
    ContentDigests(std::string package, std::unordered_map<std::string, std::string> digests,
                   Crypto& crypto);

    /// The check throws Error about the package (contentDiffers) for a file with another digest,
    /// and for one that the signature does not vouch for.
    std::unique_ptr<FileCheck> start(const ArchiveEntry& entry) const override;

    /// Throws as the check of that file would, for bytes that were read before.
    void require(const std::string& path, std::string_view bytes) const;

  private:
    class DigestCheck;

    const std::string package_;
    const std::unordered_map<std::string, std::string> digests_;
    Crypto& crypto_;
};

}  // namespace tavik
