#include "platform/core/disk/Folders.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

#include "platform/core/status/Status.h"
#include "platform/support/FileDescriptor.h"

namespace tavik {
namespace {

void makeOne(const std::string& path, mode_t mode) {
    if (::mkdir(path.c_str(), mode) == 0) {
        if (::chmod(path.c_str(), mode) != 0)
            failErrno(errno, path, "set the folder's rights");
        return;
    }
    // A folder that exists may be answered with EROFS or EACCES before EEXIST.
    const int error = errno;
    if (::access(path.c_str(), F_OK) != 0)
        failErrno(error, path, "make the folder");
}

struct CloseFolder {
    void operator()(DIR* folder) const noexcept { ::closedir(folder); }
};

/// The open folder's path, for errors.
std::string pathOf(int folder) {
    std::error_code failure;
    const auto path =
        std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(folder), failure);
    return failure ? "folder" : path.string();
}

}  // namespace

void makeFolders(const std::string& path, mode_t mode) {
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode))
        return;
    for (auto slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1))
        makeOne(path.substr(0, slash), mode);
    makeOne(path, mode);
}

std::string realPath(const std::string& path) {
    const std::unique_ptr<char, void (*)(void*)> real(::realpath(path.c_str(), nullptr),
                                                      &std::free);
    return real ? real.get() : path;
}

void visitNames(int folder, const std::function<void(std::string_view)>& visit) {
    // A descriptor of its own: the stream closes it, and its position is nobody else's.
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

}  // namespace tavik
