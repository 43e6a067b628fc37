#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/core/package/Version.h"
#include "platform/support/Sqlite.h"

namespace tavik {

/// The last good copy of one feed.
struct CachedFeed {
    std::string address;  ///< as extensions and products name it
    std::string source;   ///< where redirects ended: relative addresses belong to it
    std::string etag;
    std::string lastModified;
    std::int64_t serial = 0;
    std::string body;
    std::optional<std::string> signature;
};

/// A version of an extension, and the digest under which a feed offered it.
struct SeenVersion {
    std::string idKey;
    Version version;
    std::string sha256;
};

/// A feed that was found good in this run, and the versions in it that are to be remembered.
struct GoodFeed {
    CachedFeed copy;
    std::vector<SeenVersion> versions;
};

/// What is remembered of feeds between runs: a SQLite file of its own in the user's family folder,
/// so that processes at work on it at once need no other lock. It is made on the first save. A
/// damaged one is forgotten and made anew.
class FeedCache {
  public:
    /// Throws Error: storeNewer for a file of a later form, storeBusy, or by the system's error.
    explicit FeedCache(std::string file);

    std::optional<CachedFeed> find(const std::string& address);

    /// The digests under which the feed has ever offered versions of that extension.
    std::vector<SeenVersion> seen(const std::string& address, const std::string& idKey);

    /// Keeps all of them, in one durable step. A copy with a lower serial than the one kept
    /// meanwhile by another process does not replace it. Throws Error.
    void save(const std::vector<GoodFeed>& feeds);

  private:
    std::string file_;
    std::optional<Database> database_;
};

}  // namespace tavik
