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

/// The files that a mirror has put into its folder, by path in it. It is kept as
/// `.tavik-mirror.json` in the folder; a mirror removes nothing else than what stands in it.
class MirrorIndex {
  public:
    /// Empty where there is none yet, or none that can be read.
    static MirrorIndex read(const std::string& folder);

    /// Replaces the file in one step. Throws errno failures.
    void write(const std::string& folder) const;

    std::map<std::string, MirroredFile>& files() noexcept { return files_; }
    const std::map<std::string, MirroredFile>& files() const noexcept { return files_; }

  private:
    std::map<std::string, MirroredFile> files_;
};

/// Size and time of the file as they are now, with that digest; size -1 where there is none.
MirroredFile lookAt(const std::string& path, const std::string& sha256);

}  // namespace tavik
