#include "platform/core/net/LocalFile.h"

#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/core/disk/RegularFile.h"
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
    const RegularFile file = openRegularFile(address.filePath(), FinalLink::followed);
    if (file) {
        result.outcome = copy(file.descriptor.get(), limit, sink, result.failure);
    } else if (file.error == ENOENT || file.error == ENOTDIR) {
        result.outcome = Outcome::absent;
        result.failure = "is not there";
    } else {
        result.failure = "cannot be opened: " + file.cause();
    }
    return result;
}

}  // namespace tavik
