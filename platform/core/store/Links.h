#pragma once

#include <string>
#include <vector>

#include "platform/core/store/StoreFolder.h"
#include "platform/core/store/StoreLock.h"

namespace tavik {

/// A folder in which a host application looks for its enabled extensions, and the link that it
/// shall find there.
struct LinkPlace {
    std::string folder;  ///< absolute path
    std::string name;    ///< the extension's id
};

/// Makes sure, before anything is changed, that the link can be put there: the folder exists or can
/// be made, can be written to, and holds nothing under that name but a link.
void prepareLink(const LinkPlace& place, const StoreLock&);

/// Points the link at `target` (absolute path) in one step; on return it is durable.
void switchLink(const LinkPlace& place, const std::string& target, const StoreLock&);

/// Removes the link where it leads into this store; anything else stays untouched.
void removeLink(const LinkPlace& place, const StoreFolder& store, const StoreLock&);

/// The names in `folder` of the links that lead into this store's extensions.
std::vector<std::string> linksInto(const StoreFolder& store, const std::string& folder);

}  // namespace tavik
