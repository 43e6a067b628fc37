#include "platform/core/package/FolderTree.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/core/package/Archive.h"
#include "platform/core/status/Status.h"
#include "platform/support/Text.h"

namespace tavik {
namespace {

constexpr unsigned kFolderMode = 0755;
constexpr unsigned kPermissionBits = 0777;
constexpr int kFolderFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// For kernels and sandboxes without openat2: one component at a time, none of them a link.
int openByComponents(int root, std::string_view path) {
    FileDescriptor folder;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/'), path.size());
        const std::string component(path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
        if (component == "..") {
            errno = EXDEV;
            return -1;
        }
        folder =
            FileDescriptor(::openat(folder ? folder.get() : root, component.c_str(), kFolderFlags));
        if (!folder)
            return -1;
    }
    return folder.release();
}

int openBeneath(int root, const std::string& path) {
    struct open_how how {};
    how.flags = kFolderFlags;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
    const long folder = ::syscall(SYS_openat2, root, path.c_str(), &how, sizeof how);
    if (folder < 0 && (errno == ENOSYS || errno == EPERM))
        return openByComponents(root, path);
    return static_cast<int>(folder);
}

}  // namespace

void FolderTree::makeFolder(const std::string& path) {
    const char* name = nullptr;
    const int parent = parentOf(path, name);
    struct stat status {};
    if (::mkdirat(parent, name, kFolderMode) != 0 ||
        ::fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
        failOn(errno, "make the folder", path);
    // The umask belongs to the whole process, other threads included. So the mode is set
    // afterwards instead of changing the umask.
    if ((status.st_mode & kPermissionBits) != kFolderMode &&
        ::fchmodat(parent, name, kFolderMode, 0) != 0)
        failOn(errno, "set the mode of", path);
}

FileDescriptor FolderTree::makeFile(const std::string& path, unsigned mode) {
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    const char* name = nullptr;
    const int parent = parentOf(path, name);
    FileDescriptor file(::openat(parent, name, kFlags, mode));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0)
        failOn(errno, "make the file", path);
    if ((status.st_mode & kPermissionBits) != mode && ::fchmod(file.get(), mode) != 0)
        failOn(errno, "set the mode of", path);
    return file;
}

int FolderTree::parentOf(const std::string& path, const char*& name) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        name = path.c_str();
        return root_;
    }
    name = path.c_str() + slash + 1;
    const std::string_view parent = std::string_view(path).substr(0, slash);
    if (!folder_ || folderPath_ != parent) {
        folderPath_ = parent;
        folder_ = FileDescriptor(openBeneath(root_, folderPath_));
        if (!folder_)
            failOn(errno, "open the folder", folderPath_);
    }
    return folder_.get();
}

void FolderTree::failOn(int error, const char* action, const std::string& path) const {
    failErrno(error, subject_, std::string("cannot ") + action + ' ' + quoteName(path));
}

}  // namespace tavik
