#include "platform/core/disk/RegularFile.h"

#include <fcntl.h>

#include <cerrno>

namespace tavik {
namespace {

// Without O_NONBLOCK, opening a pipe would wait for its writer.
constexpr int kFlags = O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

constexpr const char* kNotRegular = "it is not a regular file";
constexpr const char* kFolder = "it is a folder";

/// What came of opening `descriptor`; errno is still that of the opening.
RegularFile afterOpening(FileDescriptor descriptor, FinalLink link) {
    if (descriptor)
        return asRegularFile(std::move(descriptor));
    RegularFile file;
    if (errno == ELOOP && link == FinalLink::refused)
        file.refusal = "it is a link";
    else if (errno == EISDIR)  // opened for writing
        file.refusal = kFolder;
    else if (errno == ENXIO)  // a socket
        file.refusal = kNotRegular;
    else
        file.error = errno;
    return file;
}

}  // namespace

RegularFile openRegularFile(int folder, const std::string& path, FinalLink link) {
    const int noFollow = link == FinalLink::refused ? O_NOFOLLOW : 0;
    return afterOpening(
        FileDescriptor(::openat(folder, path.c_str(), O_RDONLY | kFlags | noFollow)), link);
}

RegularFile openRegularFile(const std::string& path, FinalLink link) {
    return openRegularFile(AT_FDCWD, path, link);
}

RegularFile openOrMakeRegularFile(int folder, const std::string& path, mode_t mode) {
    constexpr int kMaking = O_RDWR | O_CREAT | O_NOFOLLOW;
    return afterOpening(FileDescriptor(::openat(folder, path.c_str(), kMaking | kFlags, mode)),
                        FinalLink::refused);
}

RegularFile asRegularFile(FileDescriptor descriptor) {
    RegularFile file;
    if (::fstat(descriptor.get(), &file.info) != 0)
        file.error = errno;
    else if (!S_ISREG(file.info.st_mode))
        file.refusal = S_ISDIR(file.info.st_mode) ? kFolder : kNotRegular;
    else
        file.descriptor = std::move(descriptor);
    return file;
}

}  // namespace tavik
