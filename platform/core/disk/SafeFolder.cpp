#include "platform/core/disk/SafeFolder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

#include "platform/support/Ownership.h"

namespace tavik {
namespace {

struct stat statusOf(const FileDescriptor& file, const std::string& path) {
    struct stat info {};
    if (::fstat(file.get(), &info) != 0)
        failErrno(errno, path, "look at it");
    return info;
}

void requireSafe(const struct stat& info, const std::string& path) {
    if (!isOurs(info))
        fail(Status::storeUnsafe, path, kBelongsToAnother);
    if (othersMayWrite(info))
        fail(Status::storeUnsafe, path, kOthersMayWrite);
}

}  // namespace

FileDescriptor openSafeFolder(const std::string& path) {
    return openSafeFolder(AT_FDCWD, path, path);
}

FileDescriptor openSafeFolder(int parent, const std::string& name, const std::string& path) {
    FileDescriptor folder(
        ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder && errno == ENOENT)
        return {};
    // Which of the two a link gives depends on the kernel.
    if (!folder && (errno == ELOOP || errno == ENOTDIR))
        fail(Status::storeUnsafe, path, "it is a link or no folder");
    if (!folder)
        failErrno(errno, path, "open the folder");
    requireSafe(statusOf(folder, path), path);
    return folder;
}

std::optional<RegularFile> openSafeFile(int folder, const std::string& name,
                                        const FileSubject& subject) {
    RegularFile file = openRegularFile(folder, name, FinalLink::refused);
    if (file.error == ENOENT)
        return std::nullopt;
    if (file.error != 0)
        failErrno(file.error, subject.path, "open the file");
    if (!file)
        fail(subject.invalid, subject.path, file.cause());
    requireSafe(file.info, subject.path);
    return file;
}

std::optional<std::string> readSafeFile(int folder, const std::string& name, std::size_t limit,
                                        const FileSubject& subject) {
    const auto file = openSafeFile(folder, name, subject);
    if (!file)
        return std::nullopt;
    const auto refuseSize = [&] {
        fail(subject.invalid, subject.path, "it has more than " + std::to_string(limit) + " bytes");
    };
    if (file->info.st_size > static_cast<off_t>(limit))
        refuseSize();
    try {
        std::string bytes = readUpTo(file->descriptor.get(), limit);
        if (bytes.size() > limit)  // it has grown
            refuseSize();
        return bytes;
    } catch (const std::system_error& error) {
        failErrno(error.code().value(), subject.path, "read the file");
    }
}

void requireSafeEntry(int folder, const std::string& name, const std::string& path) {
    struct stat info {};
    if (::fstatat(folder, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0)
        failErrno(errno, path, "look at it");
    if (S_ISLNK(info.st_mode))
        info.st_mode = S_IFLNK;
    requireSafe(info, path);
}

bool hasSafeFile(int folder, const std::string& name, const FileSubject& subject) {
    struct stat info {};
    if (::fstatat(folder, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno == ENOENT)
            return false;
        failErrno(errno, subject.path, "look at it");
    }
    if (!S_ISREG(info.st_mode))
        fail(subject.invalid, subject.path, "it is a link, or not a regular file");
    requireSafe(info, subject.path);
    return true;
}

}  // namespace tavik
