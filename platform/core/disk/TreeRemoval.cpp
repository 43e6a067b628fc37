#include "platform/core/disk/TreeRemoval.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string_view>

#include "platform/support/FileDescriptor.h"

namespace tavik {
namespace {

struct CloseFolder {
    void operator()(DIR* folder) const noexcept { ::closedir(folder); }
};
using FolderStream = std::unique_ptr<DIR, CloseFolder>;

bool gone(int result) noexcept {
    return result == 0 || errno == ENOENT;
}

FolderStream openFolder(int parent, const char* name) noexcept {
    FileDescriptor descriptor(
        ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!descriptor)
        return nullptr;
    FolderStream stream(::fdopendir(descriptor.get()));
    if (stream)
        descriptor.release();
    return stream;
}

bool removeFolder(int parent, const char* name) noexcept;

bool removeEntry(int parent, const char* name, unsigned char type) noexcept {
    if (type == DT_DIR)
        return removeFolder(parent, name);
    if (::unlinkat(parent, name, 0) == 0 || errno == ENOENT)
        return true;
    // Linux says EISDIR for a folder; others EPERM.
    return (errno == EISDIR || errno == EPERM) && removeFolder(parent, name);
}

bool removeFolder(int parent, const char* name) noexcept {
    if (const FolderStream stream = openFolder(parent, name)) {
        const int folder = ::dirfd(stream.get());
        while (const dirent* entry = ::readdir(stream.get())) {
            const std::string_view entryName = entry->d_name;
            if (entryName != "." && entryName != "..")
                removeEntry(folder, entry->d_name, entry->d_type);
        }
    }
    return gone(::unlinkat(parent, name, AT_REMOVEDIR));
}

}  // namespace

bool removeTree(int folder, const std::string& name) noexcept {
    return removeEntry(folder, name.c_str(), DT_UNKNOWN);
}

}  // namespace tavik
