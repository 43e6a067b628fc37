#include "platform/core/net/LocalFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/support/FileDescriptor.h"

namespace tavik {
namespace {

using Outcome = FetchResult::Outcome;

Outcome copy(int file, std::uint64_t limit, const Fetcher::Sink& sink, std::string& failure) {
    std::array<char, 65536> buffer{};
    for (std::uint64_t total = 0;;) {
        const ssize_t got = ::read(file, buffer.data(), buffer.size());
        if (got == 0)
            return Outcome::fetched;
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            failure = "cannot be read: " + errnoText(errno);
            return Outcome::failed;
        }
        total += static_cast<std::uint64_t>(got);
        if (total > limit) {
            failure = "has more than " + std::to_string(limit) + " bytes";
            return Outcome::tooLarge;
        }
        if (!sink({buffer.data(), static_cast<std::size_t>(got)})) {
            failure = "was stopped";
            return Outcome::failed;
        }
    }
}

}  // namespace

FetchResult readLocalFile(const Address& address, std::uint64_t limit, const Fetcher::Sink& sink) {
    FetchResult result;
    result.address = address;
    // Without O_NONBLOCK a pipe without a writer would hold us up before it can be told apart.
    const FileDescriptor file(
        ::open(address.filePath().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!file && (errno == ENOENT || errno == ENOTDIR)) {
        result.outcome = Outcome::absent;
        result.failure = "is not there";
    } else if (!file || ::fstat(file.get(), &status) != 0) {
        result.failure = "cannot be opened: " + errnoText(errno);
    } else if (!S_ISREG(status.st_mode)) {
        result.failure = "is not a regular file";
    } else {
        result.outcome = copy(file.get(), limit, sink, result.failure);
    }
    return result;
}

}  // namespace tavik
