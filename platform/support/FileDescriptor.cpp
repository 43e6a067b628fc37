#include "platform/support/FileDescriptor.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace tavik {

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
        FileDescriptor old(release());
        descriptor_ = other.release();
    }
    return *this;
}

FileDescriptor::~FileDescriptor() {
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

int FileDescriptor::release() noexcept {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    return descriptor;
}

std::string errnoText(int error) {
    return std::generic_category().message(error);
}

bool writeAll(int descriptor, std::string_view bytes) noexcept {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

std::size_t readOnce(int descriptor, char* bytes, std::size_t size) {
    ssize_t got = -1;
    do
        got = ::read(descriptor, bytes, size);
    while (got < 0 && errno == EINTR);
    if (got < 0)
        throw std::system_error(errno, std::generic_category(), "read");
    return static_cast<std::size_t>(got);
}

std::string readUpTo(int descriptor, std::size_t limit) {
    constexpr std::size_t kChunk = 65536;
    std::string bytes;
    // A file of known size is read in one go; one byte more shows its end.
    struct stat info {};
    std::size_t chunk = kChunk;
    if (::fstat(descriptor, &info) == 0 && S_ISREG(info.st_mode))
        chunk = static_cast<std::size_t>(info.st_size) + 1;
    std::size_t got = 0;
    while (got <= limit) {
        if (got == bytes.size())
            bytes.resize(got + std::min(got == 0 ? chunk : kChunk, limit + 1 - got));
        const std::size_t more = readOnce(descriptor, bytes.data() + got, bytes.size() - got);
        if (more == 0)
            break;
        got += more;
    }
    bytes.resize(got);
    return bytes;
}

}  // namespace tavik
