#pragma once

#include <string>
#include <string_view>

#include "platform/support/FileDescriptor.h"

namespace tavik {

/// Makes folders and files beneath an open folder and nowhere else: no link is followed, nothing is
/// overwritten, and `..` or an absolute path is refused by the system itself. Paths are relative,
/// their components joined by `/`. Functions throw Error about `subject` by the system's error.
/// Remembers the folder it worked in last, so each thread has a tree of its own.
class FolderTree {
  public:
    /// The descriptor stays the caller's; both outlive the tree.
    FolderTree(int root, const std::string& subject) : root_(root), subject_(subject) {}

    /// Makes a folder in an existing one, with the mode 0755 whatever the umask.
    void makeFolder(const std::string& path);

    /// Makes a file in an existing folder, with that mode whatever the umask, open for writing.
    FileDescriptor makeFile(const std::string& path, unsigned mode);

  private:
    int parentOf(const std::string& path, const char*& name);
    [[noreturn]] void failOn(int error, const char* action, const std::string& path) const;

    int root_;
    const std::string& subject_;
    std::string folderPath_;
    FileDescriptor folder_;  ///< open at folderPath_, unless that is empty
};

}  // namespace tavik
