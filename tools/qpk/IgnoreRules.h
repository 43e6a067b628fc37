#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tavik::qpk {

/// What file managers, editors and version control leave behind, one pattern a line.
inline constexpr std::string_view kLeftOvers =
    ".DS_Store\nThumbs.db\ndesktop.ini\n__MACOSX\n.git\n.svn\n.hg\n*~\n";

/// The file at the top of a folder that says what no package made of it has.
inline constexpr const char* kIgnoreFileName = ".qpkignore";

/// Patterns of paths in the form of .gitignore: one a line, `#` begins a comment, `!` takes back
/// what an earlier line ignores, a `/` at the end means folders alone, one before that ties the
/// pattern to the top, `*` `?` `[a-z]` stay within a name, `**` stands for any number of folders.
/// The last line that matches decides.
class IgnoreRules {
  public:
    enum class Kind { file, folder };

    explicit IgnoreRules(std::string_view text);

    /// The rules that every folder has, and behind them those of its own file. Throws Error where
    /// that cannot be read.
    static IgnoreRules ofFolder(const std::string& folder);

    /// Whether this very path is ignored. What lies in an ignored folder is for the caller to leave
    /// out with it. The path is relative, its components parted by one `/` each.
    bool ignores(std::string_view path, Kind kind) const;

  private:
    struct Rule {
        std::vector<std::string> parts;
        bool takesBack = false;
        bool isForFolders = false;
    };

    void addLine(std::string_view line);

    std::vector<Rule> rules_;
};

}  // namespace tavik::qpk
