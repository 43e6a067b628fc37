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

#include "platform/core/disk/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
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

std::string hiddenNameBeside(const std::string& target, const std::string& suffix) {
    const fs::path path(target);
    return path.parent_path() / ("." + path.filename().string() + "." + suffix);
}

/// A file without a name; none if the file system does not support that.
FileDescriptor makeNameless(const std::string& target) {
    const std::string folder = fs::path(target).parent_path().string();
    return FileDescriptor(
        ::open(folder.empty() ? "." : folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
}

}  // namespace

AtomicFile::AtomicFile(const std::string& path) : AtomicFile(path, path) {}

AtomicFile::AtomicFile(std::string path, std::string target)
    : path_(std::move(path)), target_(std::move(target)), file_(makeNameless(target_)) {
    if (file_)
        return;
    std::string name = hiddenNameBeside(target_, "XXXXXX");
    untilGone_.emplace();
    file_ = FileDescriptor(::mkostemp(name.data(), O_CLOEXEC));
    if (!file_)
        failErrno(errno, path_, "make the file");
    temporaryPath_ = std::move(name);
}

AtomicFile::~AtomicFile() {
    if (!temporaryPath_.empty())
        ::unlink(temporaryPath_.c_str());
}

std::string AtomicFile::temporaryPath() const {
    return temporaryPath_.empty() ? "/proc/self/fd/" + std::to_string(file_.get()) : temporaryPath_;
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
    if (temporaryPath_.empty())
        giveTemporaryName();
    if (::rename(temporaryPath_.c_str(), target_.c_str()) != 0)
        failErrno(errno, path_, "rename the finished file");
    temporaryPath_.clear();
    untilGone_.reset();
}

/// Throws where a signal has asked the process to end. The signal takes effect when this object is
/// destroyed, and the file with it.
void AtomicFile::requireGoingOn() const {
    if (untilGone_ && DeferredTermination::isRequested())
        failErrno(EINTR, path_, "write the file");
}

/// Gives the file a name, because only a rename can replace another file.
void AtomicFile::giveTemporaryName() {
    const std::string nameless = temporaryPath();
    constexpr int kAttempts = 100;
    for (int i = 0; i < kAttempts; ++i) {
        std::string name =
            hiddenNameBeside(target_, std::to_string(::getpid()) + "-" + std::to_string(i));
        if (::linkat(AT_FDCWD, nameless.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0) {
            temporaryPath_ = std::move(name);
            return;
        }
        if (errno != EEXIST)
            break;
    }
    failErrno(errno, path_, "name the finished file");
}

}  // namespace tavik
