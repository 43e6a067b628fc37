#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/core/package/Fault.h"
#include "platform/core/updates/Feed.h"
#include "tools/qpk/FeedDocument.h"

namespace tavik::qpk {

inline constexpr const char* kFeedName = "feed.json";
inline constexpr const char* kPageName = "index.html";
/// More than a feed or its page ever has.
inline constexpr std::size_t kMaxFileBytes = std::size_t{64} << 20;

/// The packages in a folder (`*.qpk`, not in folders below it), by id and the newest version first.
/// Reports whatever the core would refuse, names that no feed should have, and two packages of one
/// version; places begin with the file's name. Throws Error.
std::vector<FeedPackage> readPackages(const std::string& folder, const FaultSink& report);

/// The feed that the folder has so far; nothing where it has none. Throws Error for one that is
/// damaged.
std::optional<Feed> readOldFeed(const std::string& folder);

/// What the core makes of the text when it reads it as the folder's feed. Throws Error.
Feed readFeedText(const std::string& folder, const std::string& text);

/// A line for each package whose signer may not take the place of the version's before it. The
/// packages are in the order of readPackages.
std::vector<std::string> signerWarnings(const std::vector<FeedPackage>& packages);

/// Takes over which versions were blocked and why, also where their packages are gone, and reports
/// versions that were published with other bytes: no core would take these any more.
void compareWithOld(const Feed& old, FeedDocument& feed, const FaultSink& report);

/// Withdraws a version, whether its package is there or not.
void block(const WithdrawnVersion& withdrawn, FeedDocument& feed);

}  // namespace tavik::qpk
