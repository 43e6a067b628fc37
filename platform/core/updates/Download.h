#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/core/net/Address.h"
#include "platform/core/net/Online.h"
#include "platform/core/package/Version.h"
#include "platform/core/updates/Offer.h"
#include "platform/support/FileDescriptor.h"

namespace tavik {

/// Told the bytes that have arrived and their total. It must not throw.
using DownloadProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// Downloads the offered package into `file`, open for reading and writing, and goes back to its
/// beginning. Mirrors are tried in their order; the file then has exactly the feed's size and
/// digest. Throws Error about the extension: downloadFailed where no mirror gave the whole file,
/// downloadDiffers where the last one gave another, or by the system's error.
void downloadInto(int file, const Offer& offer, const DownloadProgress& progress = {},
                  const FetchBounds& bounds = {});

/// The same into a file without a name on the disk of the folder `folderDescriptor`. It is gone
/// when it is closed, however the program ends.
FileDescriptor downloadUpdate(const Offer& offer, int folderDescriptor,
                              const DownloadProgress& progress = {},
                              const FetchBounds& bounds = {});

/// A file without a name on the disk, open for reading at its beginning.
struct DownloadedFile {
    FileDescriptor file;
    std::string sha256;  ///< of its bytes, in lower-case hexadecimal digits
};

/// The same for an address that no feed describes: `limit` bytes at the most. Throws Error about
/// the address: downloadFailed, or by the system's error.
DownloadedFile downloadFile(const Address& address, std::uint64_t limit, int folderDescriptor,
                            const DownloadProgress& progress = {}, const FetchBounds& bounds = {});

/// Throws Error (wrongExtension) unless the package is the one that the feed offered.
void requireOffered(const Offer& offer, std::string_view idKey, const Version& version);

}  // namespace tavik
