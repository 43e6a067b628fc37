#include "platform/core/disk/Folders.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

#include "platform/core/status/Status.h"
#include "platform/support/Ownership.h"
#include "platform/support/Text.h"

namespace tavik {
namespace {

/// Whether only root and the current user can rename and replace what the current user makes in the
/// open folder.
bool isOursAlone(int folder) {
    struct stat info {};
    return ::fstat(folder, &info) == 0 && isOurs(info) && (!othersMayWrite(info) || isSticky(info));
}

struct CloseFolder {
    void operator()(DIR* folder) const noexcept { ::closedir(folder); }
};

}  // namespace

FileDescriptor makeFolderIn(int parent, const std::string& name, const std::string& path,
                            mode_t mode) {
    const bool isMade = ::mkdirat(parent, name.c_str(), mode) == 0;
    if (!isMade && errno != EEXIST)
        failErrno(errno, path, "make the folder");
    FileDescriptor folder(
        ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder)
        failErrno(errno, path, "open the folder");
    // The umask took rights away that the mode is meant to have. Whoever owns the parent could have
    // put another folder of ours into the place of the new one, and would open that one to all.
    if (isMade && isOursAlone(parent) && ::fchmod(folder.get(), mode) != 0)
        failErrno(errno, path, "set the folder's rights");
    return folder;
}

FileDescriptor makeFolders(const std::string& path, mode_t mode) {
    FileDescriptor folder(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
    for (std::size_t at = 1; at < path.size();) {
        const std::size_t end = std::min(path.find('/', at), path.size());
        const std::string name = path.substr(at, end - at);
        at = end + 1;
        if (name.empty())
            continue;
        // A folder that is there need not be readable, and may be a link to one.
        FileDescriptor next(::openat(folder.get(), name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (!next && errno != ENOENT)
            failErrno(errno, path.substr(0, end), "open the folder");
        folder =
            next ? std::move(next) : makeFolderIn(folder.get(), name, path.substr(0, end), mode);
    }
    return folder;
}

std::string realPath(const std::string& path) {
    const std::unique_ptr<char, void (*)(void*)> real(::realpath(path.c_str(), nullptr),
                                                      &std::free);
    return real ? real.get() : path;
}

std::string pathOf(int folder) {
    std::error_code failure;
    const auto path =
        std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(folder), failure);
    return failure ? "folder" : path.string();
}

void visitNames(int folder, const std::function<void(std::string_view)>& visit) {
    // The stream closes its descriptor and moves its position. So it gets a descriptor of its own.
    FileDescriptor own(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!own)
        failErrno(errno, pathOf(folder), "open the folder");
    const std::unique_ptr<DIR, CloseFolder> stream(::fdopendir(own.get()));
    if (!stream)
        failErrno(errno, pathOf(folder), "open the folder");
    own.release();
    errno = 0;  // readdir's end and its failure differ in errno alone
    while (const dirent* entry = ::readdir(stream.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            visit(name);
        errno = 0;
    }
    if (errno != 0)
        failErrno(errno, pathOf(folder), "read the folder");
}

std::vector<std::string> namesIn(int folder) {
    std::vector<std::string> names;
    visitNames(folder, [&](std::string_view name) { names.emplace_back(name); });
    return names;
}

std::vector<std::string> visibleNamesIn(int folder, std::string_view ending) {
    std::vector<std::string> names;
    visitNames(folder, [&](std::string_view name) {
        if (name.front() != '.' && name.size() > ending.size() && endsWith(name, ending))
            names.emplace_back(name);
    });
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace tavik
