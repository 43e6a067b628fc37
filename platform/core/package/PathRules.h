#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tavik {

inline constexpr std::size_t kMaxPathBytes = 1024;
inline constexpr std::size_t kMaxComponentBytes = 255;
inline constexpr std::size_t kMaxPathDepth = 32;

/// What is wrong with the path, in a few words; empty if nothing is. A good path is valid UTF-8
/// without control characters and backslashes, relative, and stays beneath its folder on any
/// system.
std::string pathFault(std::string_view path);

/// The path as a file system compares it that ignores letter case and how accents are composed.
/// `path` has passed pathFault.
std::string foldPath(std::string_view path);

/// The paths of one archive and the folders above them: no two may be the same file on any system.
class PathSet {
  public:
    enum class Kind { file, folder };

    /// Adds a path that has passed pathFault. Returns how it conflicts with earlier paths; empty if
    /// it does not.
    std::string add(const std::string& path, Kind kind);

    /// Every folder that was added or stands above something added, ordered by name, so that
    /// parents come first.
    std::vector<std::string> folders() const;
    std::size_t folderCount() const noexcept { return folderCount_; }

  private:
    struct Node {
        std::string path;
        Kind kind;
        bool isListed;  ///< has an entry of its own
    };

    std::string addParents(std::string_view parent);
    std::string put(std::string_view path, Kind kind, bool isListed);

    std::unordered_map<std::string, Node> nodes_;  ///< by folded path
    std::size_t folderCount_ = 0;
    std::string lastParent_;  ///< known to be in nodes_ with its parents
};

}  // namespace tavik
