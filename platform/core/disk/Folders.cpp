#include "platform/core/disk/Folders.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "platform/core/status/Status.h"

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

std::vector<std::string> namesIn(int folder) {
    std::vector<std::string> names;
    // A descriptor of its own: the stream closes it, and its position is nobody else's.
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(
        ::fdopendir(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)), &::closedir);
    while (const dirent* entry = stream ? ::readdir(stream.get()) : nullptr) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    return names;
}

}  // namespace tavik
