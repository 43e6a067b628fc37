#pragma once

#include <cstdint>

#include "platform/support/Json.h"

namespace tavik {

/// What a package may have at the most. An administrator's policy may set other numbers.
struct PackageLimits {
    std::uint64_t entries = 10'000;
    std::uint64_t totalBytes = std::uint64_t{512} << 20;  ///< of all files, inflated
    std::uint64_t fileBytes = std::uint64_t{256} << 20;   ///< of one file, inflated
    std::uint64_t ratio = 200;             ///< inflated to compressed bytes, over the archive
    std::uint64_t graceBytes = 20U << 10;  ///< inflated bytes an entry that the ratio lets pass
    JsonLimits manifest;
};

}  // namespace tavik
