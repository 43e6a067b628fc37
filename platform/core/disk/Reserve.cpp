#include "platform/core/disk/Reserve.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/support/FileDescriptor.h"

namespace tavik {
namespace {

constexpr const char* kName = ".reserve";
// A dozen pages of the database's log, and the same for folders.
constexpr off_t kBytes = 128 << 10;

}  // namespace

void keepReserve(int familyFolder) noexcept {
    if (::faccessat(familyFolder, kName, F_OK, AT_SYMLINK_NOFOLLOW) == 0)
        return;
    const FileDescriptor file(
        ::openat(familyFolder, kName, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (!file || ::fchmod(file.get(), 0644) != 0 || ::posix_fallocate(file.get(), 0, kBytes) != 0)
        ::unlinkat(familyFolder, kName, 0);
}

bool releaseReserve(int familyFolder) noexcept {
    return ::unlinkat(familyFolder, kName, 0) == 0;
}

}  // namespace tavik
