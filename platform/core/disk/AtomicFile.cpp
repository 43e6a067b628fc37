// How a file appears complete or not at all:
//
// 1. Write a file without a name in the target's folder: a crash leaves nothing behind. Where the
//    file system has no such files, it gets a hidden name, and a signal that would end the process
//    waits until the file is removed.
// 2. Set the mode and synchronise before the file gets its name: after a power cut the name does
//    not stand for half a file.
// 3. A file without a name can only be linked to a name that is free. So it gets a hidden name, and
//    a rename replaces the target in one step. A signal in between waits, so that the hidden name
//    does not stay.
//
// The target's folder is opened once and every step works in it, so all of them meet the same
// folder wherever its path leads meanwhile.

#include "platform/core/disk/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "platform/core/status/Status.h"

namespace tavik {
namespace {

namespace fs = std::filesystem;

mode_t rightsOfNewFile() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

FileDescriptor openFolderOf(const std::string& file) {
    const std::string folder = fs::path(file).parent_path().string();
    return FileDescriptor(
        ::open(folder.empty() ? "." : folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

}  // namespace

AtomicFile::AtomicFile(const std::string& path) : AtomicFile(path, path) {}

AtomicFile::AtomicFile(const std::string& path, const std::string& target)
    : AtomicFile(openFolderOf(target), fs::path(target).filename(), path) {}

AtomicFile::AtomicFile(int folder, std::string name, std::string path)
    : AtomicFile(FileDescriptor(::openat(folder, ".", O_PATH | O_DIRECTORY | O_CLOEXEC)),
                 std::move(name), std::move(path)) {}

AtomicFile::AtomicFile(FileDescriptor folder, std::string name, std::string path)
    : path_(std::move(path)), folder_(std::move(folder)), name_(std::move(name)) {
    if (!folder_)
        failErrno(errno, path_, "make the file");
    file_ = FileDescriptor(::openat(folder_.get(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (file_)
        return;
    // Not every file system has files without a name.
    untilGone_.emplace();
    takeHiddenName(
        [this](const char* hidden) {
            file_ = FileDescriptor(::openat(
                folder_.get(), hidden, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
            return static_cast<bool>(file_);
        },
        "make the file");
}

AtomicFile::~AtomicFile() {
    if (!hiddenName_.empty())
        ::unlinkat(folder_.get(), hiddenName_.c_str(), 0);
}

std::string AtomicFile::temporaryPath() const {
    return "/proc/self/fd/" + std::to_string(file_.get());
}

void AtomicFile::write(std::string_view bytes) {
    requireGoingOn();
    if (!writeAll(file_.get(), bytes))
        failErrno(errno, path_, "write the file");
    size_ += bytes.size();
}

void AtomicFile::finish() {
    finish(rightsOfNewFile());
}

void AtomicFile::finish(mode_t mode) {
    sync(mode);
    putInPlace();
}

void AtomicFile::sync() {
    sync(rightsOfNewFile());
}

void AtomicFile::sync(mode_t mode) {
    if (::fchmod(file_.get(), mode) != 0 || ::fsync(file_.get()) != 0)
        failErrno(errno, path_, "write the file");
    requireGoingOn();
}

void AtomicFile::putInPlace() {
    const DeferredTermination nameAndRename;
    // Only a rename can replace another file, and it needs a name.
    if (hiddenName_.empty())
        takeHiddenName(
            [this](const char* hidden) {
                return ::linkat(AT_FDCWD, temporaryPath().c_str(), folder_.get(), hidden,
                                AT_SYMLINK_FOLLOW) == 0;
            },
            "name the finished file");
    if (::renameat(folder_.get(), hiddenName_.c_str(), folder_.get(), name_.c_str()) != 0)
        failErrno(errno, path_, "rename the finished file");
    hiddenName_.clear();
    untilGone_.reset();
}

/// Throws where a signal has asked the process to end. The signal takes effect when this object is
/// destroyed, and the file with it.
void AtomicFile::requireGoingOn() const {
    if (untilGone_ && DeferredTermination::isRequested())
        failErrno(EINTR, path_, "write the file");
}

/// Calls `make` with hidden names until it returns true for one that is free.
template <class Make>
void AtomicFile::takeHiddenName(Make make, const char* action) {
    constexpr int kAttempts = 100;
    for (int i = 0; i < kAttempts; ++i) {
        std::string hidden =
            "." + name_ + "." + std::to_string(::getpid()) + "-" + std::to_string(i);
        if (make(hidden.c_str())) {
            hiddenName_ = std::move(hidden);
            return;
        }
        if (errno != EEXIST)
            break;
    }
    failErrno(errno, path_, action);
}

}  // namespace tavik
