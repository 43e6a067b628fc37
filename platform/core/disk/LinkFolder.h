#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/core/disk/StoreFolder.h"
#include "platform/core/disk/TrustedPath.h"

namespace tavik {

/// An open folder in which a host application looks for its enabled extensions. What stands in it
/// and is not a link of ours is never touched. All work goes through the descriptor, so what was
/// checked is what is changed, wherever the path leads by now.
class LinkFolder {
  public:
    /// A folder below the store is reached from the store's own descriptor, any other one by the
    /// walk of openTrustedFolder(). Nothing if it is missing and is not to be made. `ours`: a link
    /// is ours where it leads to somewhere below one of these paths, which end with a slash.
    static std::optional<LinkFolder> open(const StoreFolder& store, const std::string& path,
                                          Missing missing, std::vector<std::string> ours);

    /// All names in the folder at `path`, in the order of their bytes; and of them the links that
    /// lead to somewhere below `prefix`. These only look, so whose folder it is does not matter.
    /// Empty where there is no folder, or none that the current user may enter.
    static std::vector<std::string> namesAt(const std::string& path);
    static std::vector<std::string> linksAt(const std::string& path, const std::string& prefix);

    /// Whether one of these links leads nowhere; only looks as well.
    static bool hasDanglingLinkAt(const std::string& path, const std::string& prefix);

    /// Whether the link `name` there is one of them; only looks as well.
    static bool isLinkAt(const std::string& path, const std::string& name,
                         const std::string& prefix);

    const std::string& path() const noexcept { return path_; }

    /// Throws Status::storeUnsafe where something stands under the name that is not a link of ours,
    /// and errno failures where the current user has no right to write here.
    void requireRoomFor(const std::string& name) const;

    /// The names of the links that lead to somewhere below `prefix`.
    std::vector<std::string> linksBelow(const std::string& prefix) const;

    /// Makes the link lead to `target` in one step. Looks again at what stands there, and throws as
    /// requireRoomFor() does.
    void point(const std::string& name, const std::string& target);

    /// Takes the link away where it is ours; whatever else stands there stays.
    void remove(const std::string& name);

    /// Makes durable what was changed.
    void synchronise();

  private:
    LinkFolder(std::string path, FileDescriptor descriptor, std::vector<std::string> ours)
        : path_(std::move(path)), descriptor_(std::move(descriptor)), ours_(std::move(ours)) {}

    bool isOurs(const std::string& target) const;

    std::string path_;
    FileDescriptor descriptor_;
    std::vector<std::string> ours_;
    bool isChanged_ = false;
};

}  // namespace tavik
