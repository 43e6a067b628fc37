#include "platform/core/trust/StablePackage.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/core/status/Status.h"
#include "platform/core/trust/PackageSignature.h"

namespace tavik {
namespace {

/// Whether only root and the current user can write to the file.
bool isOurs(const PackageFile& file) {
    struct stat info {};
    return ::fstat(file.descriptor(), &info) == 0 &&
           (info.st_uid == ::geteuid() || info.st_uid == 0) &&
           (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

PackageFile copyPrivately(const PackageFile& file, const PackageLimits& limits) {
    constexpr std::size_t kPieceBytes = std::size_t{1} << 20;
    // A package is hardly ever larger than its content; an unbounded one shall not fill the memory.
    if (file.size() > 2 * limits.totalBytes)
        fail(Status::packageTooLarge, file.name(), std::to_string(file.size()) + " bytes");
    FileDescriptor copy(::memfd_create("package", MFD_CLOEXEC));
    if (!copy)
        failErrno(errno, file.name(), "copy the package");
    std::string piece;
    for (std::uint64_t done = 0; done < file.size(); done += piece.size()) {
        piece.resize(
            static_cast<std::size_t>(std::min<std::uint64_t>(kPieceBytes, file.size() - done)));
        file.readAt(done, piece.data(), piece.size());
        if (!writeAll(copy.get(), piece))
            failErrno(errno, file.name(), "copy the package");
    }
    return PackageFile::adopt(std::move(copy), file.name());
}

}  // namespace

Package openStable(const std::string& path, const Policy& policy) {
    PackageFile file = PackageFile::open(path);
    const bool mayChange = !isOurs(file);
    Package package = Package::open(std::move(file), policy.limits);
    if (mayChange && (policy.requireSignature || hasSignature(package)))
        return Package::open(copyPrivately(package.file(), policy.limits), policy.limits);
    return package;
}

}  // namespace tavik
