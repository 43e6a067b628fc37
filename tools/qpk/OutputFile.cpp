// How a file appears complete or not at all:
//
// 1. Follow the links of the name first. Only a regular file is replaced; a rename would replace a
//    device as well.
// 2. Write a file without a name in the target's folder: a crash leaves nothing behind. Where the
//    file system has no such files, it gets a hidden name, and a signal that would end the process
//    waits until the file is removed.
// 3. Set the mode and synchronise before the file gets its name: after a power cut the name does
//    not stand for half a file.
// 4. A file without a name can only be linked to a name that is free. So it gets a hidden name, and
//    a rename replaces the target in one step. A signal in between waits, so that the hidden name
//    does not stay.

#include "tools/qpk/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "platform/core/status/Status.h"
#include "tools/qpk/Failure.h"

namespace tavik::qpk {
namespace {

namespace fs = std::filesystem;

mode_t rightsOfNewFile() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

/// The target of the links of `path`. Throws if no file can be put there.
std::string targetOf(const std::string& path, FinalLink link) {
    std::error_code error;
    const fs::file_status own = fs::symlink_status(path, error);
    if (!fs::exists(own))
        return path;
    // In a folder that others can write to, a link may lead to any file of ours.
    if (fs::is_symlink(own) && link == FinalLink::refused)
        throw Failure(path, "it is a link", "remove it, or name the file that it leads to");
    std::string target = fs::canonical(path, error).string();
    if (error)
        failSystem(error.value(), path, "follow the link");
    // The rename would replace a device by a file.
    if (!fs::is_regular_file(target, error))
        throw Failure(path, "it is not a regular file", "choose another name");
    return target;
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

OutputFile::OutputFile(std::string path, FinalLink link)
    : path_(std::move(path)), target_(targetOf(path_, link)), file_(makeNameless(target_)) {
    if (file_)
        return;
    std::string name = hiddenNameBeside(target_, "XXXXXX");
    untilGone_.emplace();
    file_ = FileDescriptor(::mkostemp(name.data(), O_CLOEXEC));
    if (!file_)
        failSystem(errno, path_, "make the file");
    temporaryPath_ = std::move(name);
}

OutputFile::~OutputFile() {
    if (!temporaryPath_.empty())
        ::unlink(temporaryPath_.c_str());
}

std::string OutputFile::temporaryPath() const {
    return temporaryPath_.empty() ? "/proc/self/fd/" + std::to_string(file_.get()) : temporaryPath_;
}

void OutputFile::write(std::string_view bytes) {
    requireGoingOn();
    if (!writeAll(file_.get(), bytes))
        failErrno(errno, path_, "write the file");
    size_ += bytes.size();
}

void OutputFile::finish() {
    finish(rightsOfNewFile());
}

void OutputFile::finish(mode_t mode) {
    sync(mode);
    putInPlace();
}

void OutputFile::sync() {
    sync(rightsOfNewFile());
}

void OutputFile::sync(mode_t mode) {
    if (::fchmod(file_.get(), mode) != 0 || ::fsync(file_.get()) != 0)
        failErrno(errno, path_, "write the file");
    requireGoingOn();
}

void OutputFile::putInPlace() {
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
void OutputFile::requireGoingOn() const {
    if (untilGone_ && DeferredTermination::isRequested())
        throw Failure(path_, "the work was interrupted", "start it again");
}

/// Gives the file a name, because only a rename can replace another file.
void OutputFile::giveTemporaryName() {
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

}  // namespace tavik::qpk
