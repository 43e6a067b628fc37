#pragma once

#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/core/disk/StoreFolder.h"
#include "platform/core/disk/TrustedPath.h"

namespace tavik {

/// What a folder is that the current user may not enter: of a host that is not his, or a failure.
enum class Closed { isEmpty, isFailure };

/// Says whether a link of that name with that target is one of ours.
using LinkFilter = std::function<bool(const std::string& name, const std::string& target)>;

/// An open folder in which a host application looks for its enabled extensions. What stands in it
/// and is not a link of ours is never touched. All work goes through the descriptor, so what was
/// checked is what is changed, wherever the path leads by now.
class LinkFolder {
  public:
    /// A folder below the store is reached from the store's own descriptor, any other one by the
    /// walk of openTrustedFolder(). Nothing if it is missing and is not to be made. No other links
    /// than `ours` are changed.
    static std::optional<LinkFolder> open(const StoreFolder& store, const std::string& path,
                                          Missing missing, LinkFilter ours);

    /// All names in the folder at `path`, in the order of their bytes; and the links in it, with
    /// their targets. These only look, so whose folder it is does not matter. Empty where there is
    /// no folder.
    static std::vector<std::string> namesAt(const std::string& path, Closed closed);
    using Targets = std::unordered_map<std::string, std::string>;
    static Targets targetsAt(const std::string& path, Closed closed);

    /// The target of the link `name` there; empty where there is no link. Only looks as well.
    static std::string targetAt(const std::string& path, const std::string& name, Closed closed);

    const std::string& path() const noexcept { return path_; }

    /// Throws Status::storeUnsafe where something stands under the name that is not a link of ours,
    /// and errno failures where the current user has no right to write here.
    void requireRoomFor(const std::string& name) const;

    /// Makes the link lead to `target` in one step. Looks again at what stands there, and throws as
    /// requireRoomFor() does.
    void point(const std::string& name, const std::string& target);

    /// Takes the link away where it is ours; whatever else stands there stays.
    void remove(const std::string& name);

    /// Makes durable what was changed.
    void synchronise();

  private:
    LinkFolder(std::string path, FileDescriptor descriptor, LinkFilter ours)
        : path_(std::move(path)), descriptor_(std::move(descriptor)), ours_(std::move(ours)) {}

    std::string path_;
    FileDescriptor descriptor_;
    LinkFilter ours_;
    bool isChanged_ = false;
};

}  // namespace tavik
