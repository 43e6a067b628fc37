#include "platform/core/package/PackageFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/core/status/Status.h"

namespace tavik {

PackageFile PackageFile::open(const std::string& path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0)
        fail(Status::packageUnreadable, path, errnoText(errno));
    return adopt(FileDescriptor(descriptor), path);
}

PackageFile PackageFile::adopt(FileDescriptor descriptor, std::string name) {
    struct stat status {};
    if (::fstat(descriptor.get(), &status) != 0)
        fail(Status::packageUnreadable, name, errnoText(errno));
    if (!S_ISREG(status.st_mode))
        fail(Status::packageUnreadable, name, "is not a regular file");
    PackageFile file;
    file.name_ = std::move(name);
    file.descriptor_ = std::move(descriptor);
    file.size_ = static_cast<std::uint64_t>(status.st_size);
    return file;
}

void PackageFile::readAt(std::uint64_t offset, char* buffer, std::size_t size) const {
    while (size > 0) {
        const ssize_t got = ::pread(descriptor_.get(), buffer, size, static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            fail(Status::packageUnreadable, name_, errnoText(errno));
        if (got == 0)
            fail(Status::packageDamaged, name_, "the file ends early");
        buffer += got;
        size -= static_cast<std::size_t>(got);
        offset += static_cast<std::uint64_t>(got);
    }
}

}  // namespace tavik
