#include "platform/core/store/StoreFolder.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "platform/core/store/Folders.h"
#include "platform/core/texts/Status.h"

namespace tavik {
namespace {

constexpr mode_t kFolderMode = 0755;
// A user's store is that user's business; what stands below may be as open as its files ask for.
constexpr mode_t kUserRootMode = 0700;

void requireSafe(int descriptor, const std::string& path) {
    struct stat info {};
    if (::fstat(descriptor, &info) != 0)
        failErrno(errno, path, "look at the folder");
    if (info.st_uid != ::geteuid() && info.st_uid != 0)
        fail(Status::storeUnsafe, path, "it belongs to another user");
    if ((info.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        fail(Status::storeUnsafe, path, "its group or others may write to it");
}

/// Opens a folder beneath `parent`; an invalid descriptor where it does not exist.
FileDescriptor openFolder(int parent, const std::string& name, const std::string& path) {
    FileDescriptor folder(
        ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder) {
        if (errno == ENOENT)
            return {};
        // Which of the two a link gives depends on the kernel.
        if (errno == ELOOP || errno == ENOTDIR)
            fail(Status::storeUnsafe, path, "it is a link or no folder");
        failErrno(errno, path, "open the folder");
    }
    requireSafe(folder.get(), path);
    return folder;
}

FileDescriptor makeFolder(int parent, const std::string& name, const std::string& path,
                          mode_t mode) {
    if (auto folder = openFolder(parent, name, path))
        return folder;
    const bool made = ::mkdirat(parent, name.c_str(), mode) == 0;
    if (!made && errno != EEXIST)
        failErrno(errno, path, "make the folder");
    FileDescriptor folder = openFolder(parent, name, path);
    if (!folder)
        failErrno(ENOENT, path, "open the folder");
    // The umask took rights away that the mode is meant to have.
    if (made && ::fchmod(folder.get(), mode) != 0)
        failErrno(errno, path, "set the folder's rights");
    return folder;
}

}  // namespace

std::optional<StoreFolder> StoreFolder::open(const StoreLocation& location) {
    const FileDescriptor root = openFolder(AT_FDCWD, location.root, location.root);
    if (!root)
        return std::nullopt;
    FileDescriptor family = openFolder(root.get(), location.family, location.familyFolder());
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
    return openFolder(descriptor(), name, path() + "/" + name);
}

bool StoreFolder::isOnNetwork() const noexcept {
    // From linux/magic.h, and those of it that Debian's header lacks: CIFS, SMB2, Ceph.
    constexpr unsigned long kNetworkTypes[] = {NFS_SUPER_MAGIC, SMB_SUPER_MAGIC, V9FS_MAGIC,
                                               AFS_SUPER_MAGIC, 0xFF534D42,      0xFE534D42,
                                               0x00C36400};
    struct statfs info {};
    if (::fstatfs(descriptor(), &info) != 0)
        return false;
    const auto type = static_cast<unsigned long>(info.f_type) & 0xFFFFFFFFUL;
    return std::find(std::begin(kNetworkTypes), std::end(kNetworkTypes), type) !=
           std::end(kNetworkTypes);
}

}  // namespace tavik
