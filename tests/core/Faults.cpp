// Put in front of the C library with LD_PRELOAD. FAULT_AT=N is the number of the call that changes
// the disk at which the process is killed (FAULT=kill) or the call fails (FAULT=<errno value>), and
// with FAULT_ONWARD all later ones too: from when the file that FAULT_FROM names is opened, until
// the one that FAULT_RELIEF names is deleted.
// FAULT_LOG names a file that is written when the N-th call was reached.
// FAULT_PATH=NAME instead of a number: each opening, making or deleting of what the program calls
// NAME, and each reading of a link of that name, fails with FAULT; with FAULT=stop the process says
// "stopped" on its standard output and stops until it is continued.

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {

std::atomic<long> calls{0};
std::atomic<bool> isArmed{std::getenv("FAULT_FROM") == nullptr};
std::atomic<bool> isRelieved{false};

long numberFrom(const char* variable) {
    const char* text = std::getenv(variable);
    return text == nullptr ? 0 : std::strtol(text, nullptr, 10);
}

/// True where this call is to fail; errno is set then.
bool strikes() {
    static const long at = numberFrom("FAULT_AT");
    static const bool onward = std::getenv("FAULT_ONWARD") != nullptr;
    if (at == 0 || !isArmed || isRelieved)
        return false;
    const long call = ++calls;
    if (onward ? call < at : call != at)
        return false;
    if (const char* log = std::getenv("FAULT_LOG"))
        close(creat(log, 0600));
    // No number: the process is to be killed.
    errno = static_cast<int>(numberFrom("FAULT"));
    if (errno == 0)
        kill(getpid(), SIGKILL);
    return true;
}

/// True where a call about this path is to fail; errno is set then.
bool strikesAt(const char* path) {
    static const char* const name = std::getenv("FAULT_PATH");
    if (name == nullptr || path == nullptr || std::strcmp(path, name) != 0)
        return false;
    errno = static_cast<int>(numberFrom("FAULT"));
    if (errno != 0)
        return true;
    static std::atomic<bool> hasStopped{false};
    if (!hasStopped.exchange(true)) {
        if (write(STDOUT_FILENO, "stopped\n", 8) == 8)
            raise(SIGSTOP);
    }
    return false;
}

template <class Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define COUNTED(result, name, parameters, arguments)                 \
    EXPORTED result name parameters {                                \
        static auto* const real = next<result parameters>(#name);    \
        return strikes() ? static_cast<result>(-1) : real arguments; \
    }

COUNTED(ssize_t, write, (int fd, const void* data, size_t size), (fd, data, size))
COUNTED(ssize_t, pwrite64, (int fd, const void* data, size_t size, off64_t at),
        (fd, data, size, at))
COUNTED(int, fsync, (int fd), (fd))
COUNTED(int, fdatasync, (int fd), (fd))
COUNTED(int, syncfs, (int fd), (fd))
COUNTED(int, mkdir, (const char* path, mode_t mode), (path, mode))
COUNTED(int, mkdirat, (int fd, const char* path, mode_t mode), (fd, path, mode))
COUNTED(int, renameat, (int a, const char* from, int b, const char* to), (a, from, b, to))
COUNTED(int, unlink, (const char* path), (path))
COUNTED(int, fchmod, (int fd, mode_t mode), (fd, mode))

EXPORTED int symlinkat(const char* target, int folder, const char* path) {
    static auto* const real = next<int(const char*, int, const char*)>("symlinkat");
    return strikesAt(path) || strikes() ? -1 : real(target, folder, path);
}

EXPORTED ssize_t readlinkat(int folder, const char* path, char* buffer, size_t size) {
    static auto* const real = next<ssize_t(int, const char*, char*, size_t)>("readlinkat");
    return strikesAt(path) ? -1 : real(folder, path, buffer, size);
}

EXPORTED int ftruncate64(int fd, off64_t size) {
    static auto* const real = next<int(int, off64_t)>("ftruncate64");
    // It takes no room: a full disk lets it through.
    static const bool isCounted = numberFrom("FAULT") != ENOSPC;
    return isCounted && strikes() ? -1 : real(fd, size);
}

EXPORTED int openat(int folder, const char* path, int flags, ...) {
    static auto* const real = next<int(int, const char*, int, ...)>("openat");
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list more;
        va_start(more, flags);
        mode = va_arg(more, mode_t);
        va_end(more);
    }
    const char* from = std::getenv("FAULT_FROM");
    if (from != nullptr && std::strcmp(path, from) == 0)
        isArmed = true;
    if (strikesAt(path) || ((flags & O_CREAT) != 0 && strikes()))
        return -1;
    return real(folder, path, flags, mode);
}

EXPORTED int unlinkat(int folder, const char* path, int flags) {
    static auto* const real = next<int(int, const char*, int)>("unlinkat");
    const char* relief = std::getenv("FAULT_RELIEF");
    if (relief != nullptr && std::strcmp(path, relief) == 0)
        isRelieved = true;
    return strikesAt(path) || strikes() ? -1 : real(folder, path, flags);
}
