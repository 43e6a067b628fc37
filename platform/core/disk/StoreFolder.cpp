#include "platform/core/disk/StoreFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/core/disk/Folders.h"
#include "platform/core/disk/SafeFolder.h"
#include "platform/core/status/Status.h"

namespace tavik {
namespace {

constexpr mode_t kFolderMode = 0755;
// Only the user may enter the own store, so the files below can have any mode.
constexpr mode_t kUserRootMode = 0700;

FileDescriptor makeFolder(int parent, const std::string& name, const std::string& path,
                          mode_t mode) {
    if (auto folder = openSafeFolder(parent, name, path))
        return folder;
    makeFolderIn(parent, name, path, mode);
    FileDescriptor folder = openSafeFolder(parent, name, path);
    if (!folder)
        failErrno(ENOENT, path, "open the folder");
    return folder;
}

}  // namespace

StoreFolder::StoreFolder(StoreLocation location, FileDescriptor descriptor)
    : location_(std::move(location)),
      path_(realPath(location_.familyFolder())),
      descriptor_(std::move(descriptor)) {
    location_.root = path_.substr(0, path_.rfind('/'));
}

std::optional<StoreFolder> StoreFolder::open(const StoreLocation& location) {
    const FileDescriptor root = openSafeFolder(AT_FDCWD, location.root, location.root);
    if (!root)
        return std::nullopt;
    FileDescriptor family = openSafeFolder(root.get(), location.family, location.familyFolder());
    if (!family)
        return std::nullopt;
    return StoreFolder(location, std::move(family));
}

StoreFolder StoreFolder::create(const StoreLocation& location) {
    if (auto folder = open(location))
        return *std::move(folder);
    const mode_t rootMode = location.scope == Scope::user ? kUserRootMode : kFolderMode;
    makeFolders(location.root, rootMode);
    const FileDescriptor root = makeFolder(AT_FDCWD, location.root, location.root, rootMode);
    return {location,
            makeFolder(root.get(), location.family, location.familyFolder(), kFolderMode)};
}

FileDescriptor StoreFolder::subfolder(const std::string& name) const {
    return makeFolder(descriptor(), name, path() + "/" + name, kFolderMode);
}

FileDescriptor StoreFolder::existingSubfolder(const std::string& name) const {
    return openSafeFolder(descriptor(), name, path() + "/" + name);
}

}  // namespace tavik
