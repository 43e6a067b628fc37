#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace tavik {

/// What a mirror knows of one of its files: whoever changed it since would change one of the
/// numbers.
struct MirroredFile {
    std::string sha256;
    std::int64_t size = 0;
    std::int64_t modified = 0;  ///< nanoseconds since 1970
};

/// What a mirror remembers of a feed, so that it takes no older one and none of another signer.
struct MirroredFeed {
    std::int64_t serial = 0;
    std::string signer;  ///< fingerprint of the key that signed it; empty: unsigned
};

/// The files that a mirror has put into its folder, by path in it, and its feeds when they were
/// last good, by address. It is kept as `.tavik-mirror.json` in the folder; a mirror removes
/// nothing else than what stands in it. `folder` is the open folder, `path` its path for failures.
class MirrorIndex {
  public:
    /// Empty where there is none yet, or one that is damaged. Throws as readSafeFile.
    static MirrorIndex read(int folder, const std::string& path);

    /// Replaces the file in one step. Throws errno failures.
    void write(int folder, const std::string& path) const;

    std::map<std::string, MirroredFile>& files() noexcept { return files_; }
    std::map<std::string, MirroredFeed>& feeds() noexcept { return feeds_; }

  private:
    std::map<std::string, MirroredFile> files_;
    std::map<std::string, MirroredFeed> feeds_;
};

/// Size and time of the file in the open folder as they are now, with that digest; size -1 where
/// there is none.
MirroredFile lookAt(int folder, const std::string& name, const std::string& sha256);

}  // namespace tavik
