#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/core/package/Version.h"
#include "platform/support/FileDescriptor.h"
#include "platform/support/Sqlite.h"

namespace tavik {

/// The last good copy of one feed.
struct CachedFeed {
    std::string address;  ///< as extensions and products name it
    std::string etag;
    std::string lastModified;
    std::int64_t serial = 0;
    std::string signature;  ///< empty where there was none
    std::string body;
    std::string signer;  ///< fingerprint of the key that signed it; empty: unsigned
    std::string
        goodOn;  ///< the last day (UTC) on which it was good, "2027-01-31"; empty: not known
};

/// A version of an extension, and the digest under which a feed offered it.
struct SeenVersion {
    std::string idKey;
    Version version;
    std::string sha256;
};

/// What earlier runs know of a feed.
struct KnownFeed {
    std::optional<CachedFeed> copy;
    std::vector<SeenVersion> seen;  ///< all that it has offered, with the digests of the first time
};

/// A feed that was found good in this run, and the versions in it that are to be remembered.
struct GoodFeed {
    CachedFeed copy;
    std::vector<SeenVersion> versions;
    bool restarts = false;  ///< see Feed::restarts
};

/// What is remembered of feeds between runs: a SQLite file of its own in the user's family folder,
/// so that several processes can use it at once without another lock. It has a write-ahead log, and
/// on a network disk, where a log is not safe, a rollback journal. The first save creates it. A
/// damaged file is deleted and created anew. An earlier form is upgraded. Throws Error: storeUnsafe
/// where somebody else could have written the file or its folder, storeNewer for a later form,
/// otherwise by SQLite's failure.
class FeedDatabase {
  public:
    /// `file`: a path with a folder in it.
    explicit FeedDatabase(std::string file);

    /// What is known of the feeds under these addresses, in their order.
    std::vector<KnownFeed> find(const std::vector<std::string>& addresses);

    /// Keeps all of them in one step. Where another process has kept a copy with a higher
    /// serial meanwhile, that one stays, unless it has the highest and the new copy restarts; a
    /// version that is remembered stays as it is.
    void save(const std::vector<GoodFeed>& feeds);

  private:
    template <class Work>
    auto guarded(Work work);
    void open(int flags);

    std::string file_;
    FileDescriptor folder_;  ///< found safe; invalid where there is none
    bool isOnNetwork_;
    std::optional<Database> database_;  ///< none where there is no file yet
};

/// The days on which feeds were last good, by their addresses; see CachedFeed::goodOn. Changes
/// nothing, and knows nothing where the file is missing or of an earlier form. Throws Error.
std::map<std::string, std::string> readGoodDays(const std::string& file);

}  // namespace tavik
