#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/core/online/Online.h"
#include "platform/core/package/Version.h"
#include "platform/core/updates/Update.h"
#include "platform/support/FileDescriptor.h"

namespace tavik {

/// Told the bytes that have arrived and their total.
using DownloadProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// Downloads the offered package into the new file `path`, which is removed again on a failure, and
/// returns it open, at its beginning. Mirrors are tried in their order; what comes back has
/// exactly the feed's size and digest. Throws Error about the extension's name: downloadFailed
/// where no mirror gave a whole file, downloadDiffers where the last one gave another.
FileDescriptor downloadUpdate(Online& online, const Offer& offer, const std::string& path,
                              const FetchBounds& bounds, const DownloadProgress& progress);

/// Throws Error (wrongExtension) unless the package is the one that the feed offered.
void requireOffered(const Offer& offer, std::string_view idKey, const Version& version);

}  // namespace tavik
