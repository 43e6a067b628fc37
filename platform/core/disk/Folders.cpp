#include "platform/core/disk/Folders.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

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

std::vector<std::string> namesIn(int folder, const std::string& path) {
    // A descriptor of its own: the stream closes it, and its position is nobody else's.
    FileDescriptor own(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!own)
        failErrno(errno, path, "read the folder");
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(::fdopendir(own.get()), &::closedir);
    if (!stream)
        failErrno(errno, path, "read the folder");
    own.release();
    std::vector<std::string> names;
    for (;;) {
        // Only errno tells a failure from the end.
        errno = 0;
        const dirent* entry = ::readdir(stream.get());
        if (entry == nullptr && errno != 0)
            failErrno(errno, path, "read the folder");
        if (entry == nullptr)
            break;
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace tavik
