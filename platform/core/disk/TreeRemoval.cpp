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

/// One removal, and its first failure. A file that stays makes the folders above it fail too, but
/// those errors only say "not empty".
class Removal {
  public:
    bool removeEntry(int parent, const char* name, unsigned char type) noexcept {
        if (type == DT_DIR)
            return removeFolder(parent, name);
        if (::unlinkat(parent, name, 0) == 0 || errno == ENOENT)
            return true;
        return errno == EISDIR ? removeFolder(parent, name) : failed();
    }

    int cause() const noexcept { return cause_; }

  private:
    bool removeFolder(int parent, const char* name) noexcept {
        removeContent(parent, name);
        return ::unlinkat(parent, name, AT_REMOVEDIR) == 0 || errno == ENOENT || failed();
    }

    void removeContent(int parent, const char* name) noexcept {
        FileDescriptor descriptor(
            ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        const FolderStream stream(descriptor ? ::fdopendir(descriptor.get()) : nullptr);
        if (!stream) {
            failed();
            return;
        }
        const int folder = descriptor.release();
        while (const dirent* entry = ::readdir(stream.get())) {
            const std::string_view entryName = entry->d_name;
            if (entryName != "." && entryName != "..")
                removeEntry(folder, entry->d_name, entry->d_type);
        }
    }

    bool failed() noexcept {
        if (cause_ == 0)
            cause_ = errno;
        return false;
    }

    int cause_ = 0;
};

}  // namespace

bool removeTree(int folder, const std::string& name) noexcept {
    Removal removal;
    const bool isGone = removal.removeEntry(folder, name.c_str(), DT_UNKNOWN);
    errno = removal.cause();
    return isGone;
}

}  // namespace tavik
