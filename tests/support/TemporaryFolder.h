#pragma once

#include <filesystem>
#include <string>

namespace tavik::testing {

/// A fresh folder under the system's temporary folder that disappears with this object.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string operator/(const std::string& name) const { return (path_ / name).string(); }

  private:
    std::filesystem::path path_;
};

/// The file's bytes; throws where it cannot be read.
std::string readFile(const std::filesystem::path& path);

/// Writes the file, making the folders above it.
void writeFile(const std::filesystem::path& path, const std::string& bytes);

}  // namespace tavik::testing
