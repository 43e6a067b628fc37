#pragma once

#include <string>
#include <vector>

#include "platform/core/policy/Policy.h"
#include "platform/core/updates/Download.h"
#include "platform/core/updates/FeedRetrieval.h"
#include "platform/support/Error.h"

namespace tavik {

/// What a mirror's run has done; paths are those in its folder, sorted.
struct MirrorReport {
    std::vector<std::string> copied;
    std::vector<std::string> unchanged;
    std::vector<std::string> removed;
    std::vector<Error> failures;  ///< of single feeds and packages: the others went on
};

/// What a mirror is made by.
struct MirrorRules {
    FeedVerifier verify;         ///< feeds that it does not believe are not copied
    Policy policy;               ///< which feeds may be asked; its redirects are not applied
    std::uint64_t packageBytes;  ///< what a package may have at the most
    DownloadProgress progress{};
};

/// Copies the feeds, their signatures and the packages that they offer into the folder, byte for
/// byte, each file in one step. Where a file stands is its address: FOLDER/HOST[:PORT]/PATH, and
/// FOLDER/localhost/PATH for `file:`, and its bytes come from that address alone. What an earlier
/// run has copied and no feed offers any more is removed, unless something failed. Throws errno
/// failures about the folder itself, and Status::storeUnsafe where others may write to it or to a
/// folder on the way to it.
MirrorReport mirrorFeeds(const std::vector<std::string>& addresses, const std::string& folder,
                         const MirrorRules& rules);

}  // namespace tavik
