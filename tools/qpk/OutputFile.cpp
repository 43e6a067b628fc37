#include "tools/qpk/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "platform/core/texts/Status.h"
#include "tools/qpk/InputFile.h"

namespace tavik::qpk {
namespace {

mode_t rightsOfNewFile() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

}  // namespace

OutputFile::OutputFile(std::string path) : path_(std::move(path)) {
    const std::filesystem::path target(path_);
    std::string name = target.parent_path() / ("." + target.filename().string() + ".XXXXXX");
    file_ = FileDescriptor(::mkostemp(name.data(), O_CLOEXEC));
    if (!file_)
        failSystem(errno, path_, "make the file");
    temporaryPath_ = std::move(name);
}

OutputFile::~OutputFile() {
    if (!temporaryPath_.empty())
        ::unlink(temporaryPath_.c_str());
}

void OutputFile::write(std::string_view bytes) {
    if (!writeAll(file_.get(), bytes))
        failErrno(errno, path_, "write the file");
    size_ += bytes.size();
}

void OutputFile::finish() {
    finish(rightsOfNewFile());
}

void OutputFile::finish(mode_t mode) {
    if (::fchmod(file_.get(), mode) != 0 || ::fsync(file_.get()) != 0)
        failErrno(errno, path_, "write the file");
    if (::rename(temporaryPath_.c_str(), path_.c_str()) != 0)
        failErrno(errno, path_, "rename the finished file");
    temporaryPath_.clear();
}

}  // namespace tavik::qpk
