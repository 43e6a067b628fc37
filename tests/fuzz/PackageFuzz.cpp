// Feeds arbitrary bytes to everything that reads a package.

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/core/package/Package.h"

namespace {

/// The same bytes are taken or refused by both forms of the check.
void check(int file, const tavik::PackageLimits& limits) {
    const std::string path = "/proc/self/fd/" + std::to_string(file);
    const bool isGood = tavik::findFaults(path, limits).empty();
    try {
        const tavik::Package package = tavik::Package::open(path, limits);
        for (const auto& entry : package.archive().entries())
            package.stream(entry, [](std::string_view) {});
        if (!isGood)
            std::abort();
    } catch (const tavik::Error&) {
        if (isGood)
            std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int file = ::memfd_create("package", MFD_CLOEXEC);
    if (::ftruncate(file, 0) != 0 || ::pwrite(file, data, size, 0) != static_cast<ssize_t>(size))
        std::abort();
    tavik::PackageLimits limits;
    limits.fileBytes = 8U << 20;  // so that a streamed entry is reached and a run stays quick
    limits.totalBytes = 16U << 20;
    limits.ratio = 10'000;
    check(file, limits);
    return 0;
}
