#include "platform/core/disk/RegularFile.h"

#include <fcntl.h>

#include <cerrno>

namespace tavik {

RegularFile openRegularFile(int folder, const std::string& path, FinalLink link) {
    // Without O_NONBLOCK, opening a pipe would wait for its writer.
    constexpr int kFlags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    FileDescriptor descriptor(
        ::openat(folder, path.c_str(), link == FinalLink::refused ? kFlags | O_NOFOLLOW : kFlags));
    if (descriptor)
        return asRegularFile(std::move(descriptor));
    RegularFile file;
    if (errno == ELOOP && link == FinalLink::refused)
        file.refusal = "it is a link";
    else if (errno == ENXIO)
        file.refusal = "it is not a regular file";  // a socket
    else
        file.error = errno;
    return file;
}

RegularFile openRegularFile(const std::string& path, FinalLink link) {
    return openRegularFile(AT_FDCWD, path, link);
}

RegularFile asRegularFile(FileDescriptor descriptor) {
    RegularFile file;
    if (::fstat(descriptor.get(), &file.info) != 0)
        file.error = errno;
    else if (!S_ISREG(file.info.st_mode))
        file.refusal = "it is not a regular file";
    else
        file.descriptor = std::move(descriptor);
    return file;
}

}  // namespace tavik
