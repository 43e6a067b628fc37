// Calls to the disk of the preloaded library: see FaultPlan.cpp.

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "tests/faults/FaultPlan.h"

namespace {

constexpr unsigned kChangesData = kChanges | kInterruptible;
constexpr unsigned kChangesName = kChanges | kNamesPath;

/// What goes to the terminal is no change of the disk.
bool isFile(int fd) {
    return fd > STDERR_FILENO;
}

unsigned openingTraits(int flags) {
    const bool changes = (flags & (O_CREAT | O_TRUNC)) != 0;
    return kNamesPath | kOpens | kInterruptible | (changes ? kChanges : kReads);
}

/// Without a file, a mapping is memory, which no disk can keep from anybody.
unsigned mappingTraits(int fd) {
    return fd < 0 ? kAllocates : kReads;
}

mode_t modeFrom(int flags, va_list arguments) {
    // O_TMPFILE shares a bit with O_DIRECTORY.
    const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return creates ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

#define FAILING(result, name, parameters, arguments, traits, failure) \
    EXPORTED result name parameters {                                 \
        static auto* const real = next<result parameters>(#name);     \
        return strikes(#name, (traits)) ? (failure) : real arguments; \
    }
#define COUNTED(result, name, parameters, arguments, traits) \
    FAILING(result, name, parameters, arguments, traits, static_cast<result>(-1))
// Of data in a file, as opposed to what goes to the terminal.
#define ON_FILE(result, name, parameters, arguments, traits)                                      \
    EXPORTED result name parameters {                                                             \
        static auto* const real = next<result parameters>(#name);                                 \
        return isFile(fd) && strikes(#name, (traits)) ? static_cast<result>(-1) : real arguments; \
    }

ON_FILE(ssize_t, write, (int fd, const void* data, size_t size), (fd, data, size), kChangesData)
ON_FILE(ssize_t, writev, (int fd, const iovec* data, int count), (fd, data, count), kChangesData)
ON_FILE(ssize_t, read, (int fd, void* data, size_t size), (fd, data, size), kInterruptible)
COUNTED(ssize_t, pwrite, (int fd, const void* data, size_t size, off_t at), (fd, data, size, at),
        kChangesData)
COUNTED(ssize_t, pwrite64, (int fd, const void* data, size_t size, off64_t at),
        (fd, data, size, at), kChangesData)
COUNTED(ssize_t, copy_file_range,
        (int from, off64_t* fromAt, int to, off64_t* toAt, size_t size, unsigned flags),
        (from, fromAt, to, toAt, size, flags), kChanges)
COUNTED(int, fsync, (int fd), (fd), kChangesData)
COUNTED(int, fdatasync, (int fd), (fd), kChangesData)
COUNTED(int, syncfs, (int fd), (fd), kChanges)
COUNTED(int, ftruncate, (int fd, off_t size), (fd, size), kChangesData | kGivesRoom)
COUNTED(int, ftruncate64, (int fd, off64_t size), (fd, size), kChangesData | kGivesRoom)
COUNTED(int, fallocate, (int fd, int mode, off_t at, off_t size), (fd, mode, at, size),
        kChangesData)
FAILING(int, posix_fallocate, (int fd, off_t at, off_t size), (fd, at, size), kChangesData, errno)
FAILING(int, posix_fallocate64, (int fd, off64_t at, off64_t size), (fd, at, size), kChangesData,
        errno)
COUNTED(int, mkdir, (const char* path, mode_t mode), (path, mode), kChangesName)
COUNTED(int, mkdirat, (int fd, const char* path, mode_t mode), (fd, path, mode), kChangesName)
COUNTED(int, rename, (const char* from, const char* to), (from, to), kChangesName)
COUNTED(int, renameat, (int a, const char* from, int b, const char* to), (a, from, b, to),
        kChangesName)
COUNTED(int, renameat2, (int a, const char* from, int b, const char* to, unsigned flags),
        (a, from, b, to, flags), kChangesName)
COUNTED(int, link, (const char* from, const char* to), (from, to), kChangesName)
COUNTED(int, linkat, (int a, const char* from, int b, const char* to, int flags),
        (a, from, b, to, flags), kChangesName)
COUNTED(int, rmdir, (const char* path), (path), kChangesName)
COUNTED(int, chmod, (const char* path, mode_t mode), (path, mode), kChangesName)
COUNTED(int, fchmod, (int fd, mode_t mode), (fd, mode), kChangesName)
COUNTED(int, fchown, (int fd, uid_t user, gid_t group), (fd, user, group), kChangesName)
COUNTED(int, utime, (const char* path, const utimbuf* times), (path, times), kChangesName)
COUNTED(int, utimensat, (int fd, const char* path, const timespec* times, int flags),
        (fd, path, times, flags), kChangesName)
COUNTED(int, futimens, (int fd, const timespec* times), (fd, times), kChangesName)

COUNTED(ssize_t, pread, (int fd, void* data, size_t size, off_t at), (fd, data, size, at),
        kInterruptible)
COUNTED(ssize_t, pread64, (int fd, void* data, size_t size, off64_t at), (fd, data, size, at),
        kInterruptible)
COUNTED(int, stat, (const char* path, struct stat* info), (path, info), kNamesPath)
COUNTED(int, stat64, (const char* path, struct stat64* info), (path, info), kNamesPath)
COUNTED(int, lstat, (const char* path, struct stat* info), (path, info), kNamesPath)
COUNTED(int, lstat64, (const char* path, struct stat64* info), (path, info), kNamesPath)
COUNTED(int, fstat, (int fd, struct stat* info), (fd, info), kReads)
COUNTED(int, fstat64, (int fd, struct stat64* info), (fd, info), kReads)
COUNTED(int, fstatat, (int fd, const char* path, struct stat* info, int flags),
        (fd, path, info, flags), kNamesPath)
COUNTED(int, fstatat64, (int fd, const char* path, struct stat64* info, int flags),
        (fd, path, info, flags), kNamesPath)
COUNTED(int, statfs, (const char* path, struct statfs* info), (path, info), kNamesPath)
COUNTED(int, access, (const char* path, int mode), (path, mode), kNamesPath)
COUNTED(int, faccessat, (int fd, const char* path, int mode, int flags), (fd, path, mode, flags),
        kNamesPath)
COUNTED(ssize_t, readlink, (const char* path, char* text, size_t size), (path, text, size),
        kNamesPath)
COUNTED(int, flock, (int fd, int what), (fd, what), kInterruptible)
COUNTED(int, memfd_create, (const char* name, unsigned flags), (name, flags), kOpens)
FAILING(char*, realpath, (const char* path, char* result), (path, result), kNamesPath, nullptr)
FAILING(dirent*, readdir, (DIR * stream), (stream), kReads, nullptr)
FAILING(dirent64*, readdir64, (DIR * stream), (stream), kReads, nullptr)
FAILING(DIR*, opendir, (const char* path), (path), kNamesPath | kOpens, nullptr)
FAILING(DIR*, fdopendir, (int fd), (fd), kReads, nullptr)
FAILING(void*, mmap, (void* at, size_t size, int protection, int flags, int fd, off_t from),
        (at, size, protection, flags, fd, from), mappingTraits(fd), MAP_FAILED)
FAILING(void*, mmap64, (void* at, size_t size, int protection, int flags, int fd, off64_t from),
        (at, size, protection, flags, fd, from), mappingTraits(fd), MAP_FAILED)
FAILING(FILE*, fopen, (const char* path, const char* mode), (path, mode),
        openingTraits(*mode == 'r' ? O_RDONLY : O_CREAT), nullptr)
FAILING(FILE*, fopen64, (const char* path, const char* mode), (path, mode),
        openingTraits(*mode == 'r' ? O_RDONLY : O_CREAT), nullptr)

EXPORTED int fstatfs(int fd, struct statfs* info) {
    static auto* const real = next<int(int, struct statfs*)>("fstatfs");
    constexpr auto kNfs = 0x6969;
    const int result = strikes("fstatfs", kReads) ? -1 : real(fd, info);
    if (result == 0 && std::getenv("FAULT_NETWORK") != nullptr)
        info->f_type = kNfs;
    return result;
}

#define OPENS(name, parameters, arguments)                                                    \
    EXPORTED int name parameters {                                                            \
        static auto* const real = next<int parameters>(#name);                                \
        va_list more;                                                                         \
        va_start(more, flags);                                                                \
        const mode_t mode = modeFrom(flags, more);                                            \
        va_end(more);                                                                         \
        noteOpened(path);                                                                     \
        return strikesAt(path) || strikes(#name, openingTraits(flags)) ? -1 : real arguments; \
    }

OPENS(open, (const char* path, int flags, ...), (path, flags, mode))
OPENS(open64, (const char* path, int flags, ...), (path, flags, mode))
OPENS(openat, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
OPENS(openat64, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))

EXPORTED int symlinkat(const char* target, int folder, const char* path) {
    static auto* const real = next<int(const char*, int, const char*)>("symlinkat");
    return strikesAt(path) || strikes("symlinkat", kChangesName) ? -1 : real(target, folder, path);
}

EXPORTED ssize_t readlinkat(int folder, const char* path, char* text, size_t size) {
    static auto* const real = next<ssize_t(int, const char*, char*, size_t)>("readlinkat");
    return strikesAt(path) || strikes("readlinkat", kNamesPath) ? -1
                                                                : real(folder, path, text, size);
}

EXPORTED int unlink(const char* path) {
    static auto* const real = next<int(const char*)>("unlink");
    noteDeleted(path);
    return strikes("unlink", kChangesName) ? -1 : real(path);
}

EXPORTED int unlinkat(int folder, const char* path, int flags) {
    static auto* const real = next<int(int, const char*, int)>("unlinkat");
    noteDeleted(path);
    return strikesAt(path) || strikes("unlinkat", kChangesName) ? -1 : real(folder, path, flags);
}

EXPORTED long syscall(long number, ...) {
    static auto* const real = next<long(long, ...)>("syscall");
    constexpr int kMaxArguments = 6;
    long a[kMaxArguments];
    va_list more;
    va_start(more, number);
    for (long& argument : a)
        argument = va_arg(more, long);
    va_end(more);
    // It has no function of its own in the C library.
    if (number == SYS_openat2 && strikes("openat2", openingTraits(O_RDONLY)))
        return -1;
    return real(number, a[0], a[1], a[2], a[3], a[4], a[5]);
}
