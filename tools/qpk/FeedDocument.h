#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/core/package/Manifest.h"
#include "platform/core/trust/Signer.h"

namespace tavik::qpk {

/// A package that a feed offers.
struct FeedPackage {
    Manifest manifest;
    std::string fileName;  ///< beside the feed
    std::uint64_t size = 0;
    std::string sha256;
    Signer signer;
    std::optional<std::string> blocked;  ///< why this version must not be installed
};

/// A blocked version whose package is gone.
struct WithdrawnVersion {
    std::string id;
    std::string version;
    std::string reason;
};

/// What `qpk feed` publishes.
struct FeedDocument {
    std::int64_t serial = 0;
    bool restarts = false;              ///< see Feed::restarts; it stays so in all later feeds
    std::string expires;                ///< "2027-06-01T00:00:00Z"
    std::vector<FeedPackage> packages;  ///< by id, the newest version of each first
    std::vector<WithdrawnVersion> withdrawn;
    std::string signer;  ///< fingerprint of the feed's key; empty: unsigned
};

/// The text of feed.json.
std::string writeFeed(const FeedDocument& feed);

}  // namespace tavik::qpk
