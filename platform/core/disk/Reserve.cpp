#include "platform/core/disk/Reserve.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/support/FileDescriptor.h"

namespace tavik {
namespace {

constexpr const char* kName = ".reserve";
// For the folders and links that a change touches.
constexpr std::uint64_t kLeastBytes = 128 << 10;

/// Doubled from time to time, so that a growing database seldom needs a new one.
off_t wantedBytes(std::uint64_t databaseBytes) noexcept {
    std::uint64_t bytes = kLeastBytes;
    while (bytes < databaseBytes + kLeastBytes / 2)
        bytes *= 2;
    return static_cast<off_t>(bytes);
}

}  // namespace

void keepReserve(int familyFolder, std::uint64_t databaseBytes) noexcept {
    // A change that was killed while it made the reserve may have left an empty one.
    struct stat info {};
    const off_t bytes = wantedBytes(databaseBytes);
    if (::fstatat(familyFolder, kName, &info, AT_SYMLINK_NOFOLLOW) == 0) {
        if (S_ISREG(info.st_mode) && info.st_size >= bytes)
            return;
        ::unlinkat(familyFolder, kName, 0);
    }
    const FileDescriptor file(
        ::openat(familyFolder, kName, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (!file || ::fchmod(file.get(), 0644) != 0 || ::posix_fallocate(file.get(), 0, bytes) != 0)
        ::unlinkat(familyFolder, kName, 0);
}

bool releaseReserve(int familyFolder) noexcept {
    return ::unlinkat(familyFolder, kName, 0) == 0;
}

}  // namespace tavik
