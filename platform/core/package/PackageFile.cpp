#include "platform/core/package/PackageFile.h"

#include <unistd.h>

#include <cerrno>

#include "platform/core/disk/RegularFile.h"
#include "platform/core/status/Status.h"

namespace tavik {

PackageFile PackageFile::open(const std::string& path) {
    return PackageFile(openRegularFile(path, FinalLink::followed), path);
}

PackageFile PackageFile::adopt(FileDescriptor descriptor, std::string name) {
    return PackageFile(asRegularFile(std::move(descriptor)), std::move(name));
}

PackageFile::PackageFile(RegularFile file, std::string name)
    : name_(std::move(name)),
      descriptor_(std::move(file.descriptor)),
      size_(static_cast<std::uint64_t>(file.info.st_size)) {
    if (!descriptor_)
        fail(Status::packageUnreadable, name_, file.cause());
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
