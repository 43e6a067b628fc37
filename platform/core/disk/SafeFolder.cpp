#include "platform/core/disk/SafeFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tavik {
namespace {

struct stat statusOf(const FileDescriptor& file, const std::string& path) {
    struct stat info {};
    if (::fstat(file.get(), &info) != 0)
        failErrno(errno, path, "look at it");
    return info;
}

void requireSafe(const struct stat& info, const std::string& path) {
    if (info.st_uid != ::geteuid() && info.st_uid != 0)
        fail(Status::storeUnsafe, path, "it belongs to another user");
    if ((info.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        fail(Status::storeUnsafe, path, "its group or others may write to it");
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

std::optional<std::string> readSafeFile(int folder, const std::string& name, std::size_t limit,
                                        const FileSubject& subject) {
    // Without O_NONBLOCK a pipe without a writer would hold us up before it can be told apart.
    const FileDescriptor file(
        ::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file && errno == ENOENT)
        return std::nullopt;
    if (!file && errno == ELOOP)
        fail(subject.invalid, subject.path, "it is a link");
    if (!file)
        failErrno(errno, subject.path, "open the file");
    const struct stat info = statusOf(file, subject.path);
    if (!S_ISREG(info.st_mode))
        fail(subject.invalid, subject.path, "it is no regular file");
    requireSafe(info, subject.path);
    try {
        std::string bytes = readUpTo(file.get(), limit);
        if (bytes.size() > limit)
            fail(subject.invalid, subject.path,
                 "it has more than " + std::to_string(limit) + " bytes");
        return bytes;
    } catch (const std::system_error& error) {
        failErrno(error.code().value(), subject.path, "read the file");
    }
}

}  // namespace tavik
