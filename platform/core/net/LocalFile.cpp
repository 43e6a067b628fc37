#include "platform/core/net/LocalFile.h"

#include <array>
#include <cerrno>
#include <system_error>

#include "platform/core/disk/RegularFile.h"
#include "platform/support/FileDescriptor.h"

namespace tavik {
namespace {

using Outcome = FetchResult::Outcome;

Outcome copy(int file, std::uint64_t limit, const Fetcher::Sink& sink, std::string& failure) try {
    std::array<char, 65536> buffer{};
    std::uint64_t total = 0;
    while (const std::size_t got = readOnce(file, buffer.data(), buffer.size())) {
        total += got;
        if (total > limit) {
            failure = "has more than " + std::to_string(limit) + " bytes";
            return Outcome::tooLarge;
        }
        if (!sink({buffer.data(), got})) {
            failure = "was stopped";
            return Outcome::failed;
        }
    }
    return Outcome::fetched;
} catch (const std::system_error& error) {
    failure = "cannot be read: " + errnoText(error.code().value());
    return Outcome::failed;
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
