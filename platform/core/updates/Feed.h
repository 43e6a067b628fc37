#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/net/Address.h"
#include "platform/core/package/Manifest.h"
#include "platform/core/package/Version.h"

namespace tavik {

/// What a feed may say at the most about a blocked version.
inline constexpr std::size_t kMaxReasonBytes = 255;

/// The highest serial: readers that use doubles would round a higher one. A publisher who has
/// reached it, by a slip, begins anew: see Feed::restarts.
inline constexpr std::int64_t kMaxFeedSerial = std::int64_t{1} << 53;

/// One version of one extension in a feed.
struct FeedItem {
    std::string id;  ///< as the feed writes it
    std::string idKey;
    std::string name;  ///< for people; may be empty
    Version version;
    std::vector<ProductRequirement> products;
    std::vector<Address> mirrors;  ///< in the order in which they are tried
    std::uint64_t size = 0;
    std::string sha256;                  ///< 64 lower-case hexadecimal digits
    std::optional<std::string> blocked;  ///< why this version must not be installed
};

/// An item that was skipped for its faults.
struct FeedWarning {
    std::string idKey;  ///< empty where not even the id could be read
    std::string text;   ///< place and fault: "$.extensions[3].size is missing"
};

/// A feed's content, checked. Items with faults are left out of it; each is a warning.
struct Feed {
    std::int64_t serial = 0;
    bool restarts = false;        ///< its serial counts also after kMaxFeedSerial
    std::int64_t expires = 0;     ///< seconds since 1970
    std::string expiresText;      ///< as the feed writes it
    std::vector<FeedItem> items;  ///< by key, version and digest: blocked ones before their likes
    std::vector<FeedWarning> warnings;
};

/// Reads a feed that came from `base`, to which its relative addresses belong. Throws Error about
/// `base` (feedInvalid) for faults of the whole. What is past its date is read all the same.
Feed parseFeed(std::string_view text, const Address& base);

}  // namespace tavik
