#pragma once

#include <optional>
#include <string>

#include "platform/core/disk/LinkFolder.h"
#include "platform/core/disk/StoreFolder.h"

namespace tavik {

/// What the targets of links say: to which of two stores a link belongs, and whether it leads to an
/// installed folder.
class LinkTargets {
  public:
    /// `other`: the other store that this user works with, if any.
    LinkTargets(const StoreFolder& store, const std::optional<StoreLocation>& other);

    /// The target of a link to a folder below `ext/` of this store, and of the other one.
    std::string own(const std::string& folder) const { return content_ + folder; }
    std::string others(const std::string& folder) const { return othersContent_ + folder; }

    /// Whether the path is below this store.
    bool isBelowStore(const std::string& path) const;

    /// Whether the link `name` in the folder at `path` is this store's, also where the store has
    /// been in another place when it was made.
    bool isOwn(const std::string& path, const std::string& name, const std::string& target) const;

    /// Whether such a link is the other store's.
    bool isOthers(const std::string& target) const;

    /// The folder that a link of that id leads to where this store is now; empty for any other
    /// link.
    std::string folderIn(const std::string& target, const std::string& id) const;

    /// Whether one of the links leads into this store, to a folder that is gone.
    bool hasDangling(const LinkFolder::Targets& links) const;

  private:
    std::string store_;          ///< path, with a slash at its end
    std::string content_;        ///< the same of `ext/`
    std::string othersContent_;  ///< the same of the other store; empty where there is none
};

}  // namespace tavik
