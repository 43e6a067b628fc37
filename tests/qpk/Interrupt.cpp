// Put in front of the C library with LD_PRELOAD: files without a name cannot be made, as on many
// network file systems, and the process gets SIGTERM in its first fsync, when the file is written
// and has not got its name yet.

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdarg>

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED int fsync(int /*descriptor*/) {
    return raise(SIGTERM);
}

EXPORTED int open(const char* path, int flags, ...) {
    if ((flags & O_TMPFILE) == O_TMPFILE) {
        errno = EOPNOTSUPP;
        return -1;
    }
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, mode_t);
    va_end(arguments);
    using Open = int(const char*, int, ...);
    static auto* const real = reinterpret_cast<Open*>(dlsym(RTLD_NEXT, "open"));
    return real(path, flags, mode);
}
