// A link belongs to a store where its target is the store's `ext/` and one folder's name behind it.
// Anything else there, such as `ext/../..`, may lead anywhere, and is somebody's own link. When the
// store is moved, or restored from a backup in another place, its links keep the old path. They are
// told by the end of their target, `/ext/ID@TOKEN`, where ID is the link's name:
//
// 1. In the store's own folders such a link is the store's, since nobody else puts links there.
// 2. In a folder that other stores use too, it is the store's if it leads nowhere, and if `ext/`
//    has the folder ID@TOKEN: no other store has that token. A link of a copied store still leads
//    to the original, and stays.

#include "platform/core/store/LinkTargets.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/core/disk/Folders.h"
#include "platform/core/store/FolderName.h"

namespace tavik {
namespace {

constexpr const char* kContent = "/ext/";

bool isBelow(const std::string& prefix, const std::string& path) {
    return !prefix.empty() && path.compare(0, prefix.size(), prefix) == 0;
}

bool leadsInto(const std::string& content, const std::string& target) {
    return isBelow(content, target) && target.size() > content.size() &&
           target[content.size()] != '.' && target.find('/', content.size()) == std::string::npos;
}

bool isDangling(const std::string& target) {
    return ::access(target.c_str(), F_OK) != 0 && errno == ENOENT;
}

/// ID@TOKEN where the target ends as that of a link of this id; otherwise empty.
std::string folderAtEnd(const std::string& target, const std::string& id) {
    const auto slash = target.rfind('/');
    const auto content = target.rfind(kContent);
    if (slash == std::string::npos || content == std::string::npos ||
        target.find('/', content + 1) != slash)
        return {};
    std::string folder = target.substr(slash + 1);
    return isFolderNameOf(folder, id) ? folder : std::string();
}

}  // namespace

LinkTargets::LinkTargets(const StoreFolder& store, const std::optional<StoreLocation>& other)
    : store_(store.path() + "/"),
      content_(store.path() + kContent),
      othersContent_(other ? realPath(other->familyFolder()) + kContent : "") {}

bool LinkTargets::isBelowStore(const std::string& path) const {
    return isBelow(store_, path);
}

bool LinkTargets::isOwn(const std::string& path, const std::string& name,
                        const std::string& target) const {
    if (leadsInto(content_, target))
        return true;
    const std::string folder = folderAtEnd(target, name);
    return !folder.empty() &&
           (isBelowStore(path) || (isDangling(target) && !isDangling(own(folder))));
}

bool LinkTargets::isOthers(const std::string& target) const {
    return leadsInto(othersContent_, target);
}

std::string LinkTargets::folderIn(const std::string& target, const std::string& id) const {
    std::string folder = folderAtEnd(target, id);
    return target == own(folder) ? folder : std::string();
}

bool LinkTargets::hasDangling(const LinkFolder::Targets& links) const {
    return std::any_of(links.begin(), links.end(), [&](const auto& link) {
        return leadsInto(content_, link.second) && isDangling(link.second);
    });
}

}  // namespace tavik
