#include "platform/core/store/ChangeMark.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/core/status/Status.h"

namespace tavik {
namespace {

constexpr const char* kMark = "unfinished";
constexpr const char* kFirstMark = "first";

bool exists(const StoreFolder& store, const char* name) {
    const std::string path = std::string("staging/") + name;
    if (::faccessat(store.descriptor(), path.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0)
        return true;
    if (errno != ENOENT)
        failErrno(errno, store.path() + "/" + path, "look for an unfinished change");
    return false;
}

void make(int staging, const char* name) {
    const FileDescriptor file(
        ::openat(staging, name, O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file)
        failErrno(errno, std::string("staging/") + name, "mark the change");
}

}  // namespace

bool hasMark(const StoreFolder& store) {
    return exists(store, kMark);
}

bool hasFirstMark(const StoreFolder& store) {
    return exists(store, kFirstMark);
}

void setMark(int staging, MarkKind kind) {
    if (kind == MarkKind::first)
        make(staging, kFirstMark);
    make(staging, kMark);
}

void removeMarks(int staging) noexcept {
    // The usual mark goes last: while it stands, the next change looks into the folder.
    ::unlinkat(staging, kFirstMark, 0);
    ::unlinkat(staging, kMark, 0);
}

bool isMark(const std::string& name) noexcept {
    return name == kMark || name == kFirstMark;
}

}  // namespace tavik
