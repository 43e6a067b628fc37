#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/support/FileDescriptor.h"

namespace tavik {

/// A folder in which a host application looks for its enabled extensions, and the link that it
/// shall find there.
struct LinkPlace {
    std::string folder;  ///< absolute path, in its one form
    std::string name;    ///< the extension's id
};

/// An open folder of that kind. What stands in it and is no link of ours is never touched.
class LinkFolder {
  public:
    /// Makes the folder where it is missing.
    static LinkFolder make(const std::string& path);

    /// Nothing where there is no such folder.
    static std::optional<LinkFolder> open(const std::string& path);

    const std::string& path() const noexcept { return path_; }

    /// Throws where a link of that name could not be put here: without the right to write, and
    /// where something other than a link stands in its place.
    void requireRoomFor(const std::string& name) const;

    /// Where the link of that name leads; nothing where there is none.
    std::optional<std::string> target(const std::string& name) const;

    /// The names of the links that lead to somewhere below `prefix`.
    std::vector<std::string> linksBelow(const std::string& prefix) const;

    /// Points the link at `target` in one step, or takes it away.
    void point(const std::string& name, const std::string& target);
    void remove(const std::string& name);

    /// Makes durable what was changed.
    void synchronise();

  private:
    LinkFolder(std::string path, FileDescriptor descriptor)
        : path_(std::move(path)), descriptor_(std::move(descriptor)) {}

    std::string path_;
    FileDescriptor descriptor_;
    bool isChanged_ = false;
};

}  // namespace tavik
