// A mirror's run goes feed by feed:
//
// 1. The folder is opened by a walk that no other user can redirect, and each file is reached from
//    its descriptor in the same way: what others could change is refused, never followed.
// 2. The feed and its signature are fetched and judged as a check for updates does, with what
//    earlier runs remember: what clients would not believe, such as an older feed or one of another
//    signer, is not copied.
// 3. Its packages are downloaded, each checked against the feed's size and digest, and put in
//    place by a rename: nobody meets half a file.
// 4. The signature and the feed follow. Whoever reads the feed meanwhile finds the old one, whose
//    packages are still there.
// 5. When all feeds are done, what they no longer offer is removed, and the index is written. A run
//    that ends before leaves files that are right, and the next one copies what is missing.
//
// Feeds do not trust each other. A file's place is its address, so its bytes come from that address
// alone. The places of all feeds, signatures and statements of succession are settled before the
// first package, and no package gets one of them. Where two feeds describe one file differently,
// the second is not copied.

#include "platform/core/updates/Mirror.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <map>
#include <system_error>

#include "platform/core/crypto/DetachedSignature.h"
#include "platform/core/disk/AtomicFile.h"
#include "platform/core/disk/TrustedPath.h"
#include "platform/core/package/PathRules.h"
#include "platform/core/status/Status.h"
#include "platform/core/trust/Succession.h"
#include "platform/core/updates/MirrorIndex.h"

namespace tavik {
namespace {

/// Whoever serves the folder is another user.
constexpr mode_t kReadableByAll = 0644;

/// Where the file of an address stands in the folder. Throws Error (addressRefused).
std::string placeOf(const Address& address) {
    const std::string text = address.text();
    const std::size_t start = text.find("://") + 3;
    const std::size_t slash = text.find('/', start);
    const std::string host = text.substr(start, slash - start);
    if (!address.query().empty())
        fail(Status::addressRefused, text, "a file's address has no query");
    std::string place = (host.empty() ? "localhost" : host) + address.path();
    if (const std::string fault = pathFault(place); !fault.empty() || place.back() == '/')
        fail(Status::addressRefused, text,
             "as a file's path it " + (fault.empty() ? "has no name" : fault));
    return place;
}

Address addressOf(const std::string& text) {
    try {
        return Address::parse(text);
    } catch (const AddressError& error) {
        fail(Status::addressRefused, withoutSecrets(text), error.what());
    }
}

/// The places of a feed's own files.
std::vector<std::string> placesOf(const Address& feed) {
    return {placeOf(feed), placeOf(feed.withPathSuffix(kSignatureSuffix)),
            placeOf(feed.withPathSuffix(kSuccessionSuffix))};
}

/// A feed that was found good.
struct GoodCopy {
    CachedFeed feed;
    std::string succession;  ///< the statements beside it; empty: none
};

class Mirror {
  public:
    Mirror(const std::string& folder, const MirrorRules& rules)
        : path_(folder),
          folder_(openTrustedFolder(folder, Missing::isMade)),
          rules_(rules),
          index_(MirrorIndex::read(folder_.get(), path_)) {}

    MirrorReport run(const std::vector<std::string>& addresses) {
        for (const auto& text : addresses)
            attempt([&] { reserve(addressOf(text)); }, report_.failures);
        for (const auto& feed : feeds_)
            attempt([&] { copyFeed(feed); }, report_.failures);
        if (report_.failures.empty())
            removeOld();
        index_.write(folder_.get(), path_);
        std::sort(report_.copied.begin(), report_.copied.end());
        std::sort(report_.unchanged.begin(), report_.unchanged.end());
        return std::move(report_);
    }

  private:
    template <class Work>
    bool attempt(Work work, std::vector<Error>& failures) {
        try {
            work();
            return true;
        } catch (const Error& error) {
            failures.push_back(error);
        } catch (const AddressError& error) {
            failures.emplace_back(static_cast<int>(Status::addressRefused), "mirror", error.what());
        } catch (const std::system_error& error) {
            failures.emplace_back(static_cast<int>(Status::inputOutput), path_,
                                  error.code().message());
        }
        return false;
    }

    void reserve(const Address& feed) {
        const auto places = placesOf(feed);
        for (const auto& place : places) {
            const auto owner = reserved_.find(place);
            if (owner == reserved_.end())
                continue;
            if (owner->second == feed.text())
                return;  // It was named twice.
            fail(Status::feedInvalid, feed.text(),
                 "its place " + place + " belongs to the feed " + owner->second);
        }
        for (const auto& place : places)
            reserved_.emplace(place, feed.text());
        feeds_.push_back(feed);
    }

    void copyFeed(const Address& address) {
        const auto [copy, succession] = retrieve(address);
        // Relative addresses belong to where the feed stands in the mirror, also where a redirect
        // has led to it.
        const Feed feed = parseFeed(copy.body, address);
        const std::size_t failed = report_.failures.size();
        for (const auto& item : feed.items)
            if (!item.blocked)
                attempt([&] { copyPackage(item, address); }, report_.failures);
        // A feed must not offer what the mirror does not have.
        if (report_.failures.size() != failed)
            return;
        const auto places = placesOf(address);
        if (!succession.empty())
            put(places[2], succession);
        if (!copy.signature.empty())
            put(places[1], copy.signature);
        put(places[0], copy.body);
    }

    /// Fetches the feed and remembers it where it is good. Throws Error.
    GoodCopy retrieve(const Address& address) {
        if (!rules_.policy.allowsFeed(address))
            fail(Status::policyForbids, address.text());
        FeedRetrieval feed(address, address);
        feed.remember(knownOf(address));
        const auto fetcher = loadOnline().newFetcher({});
        auto results = fetcher->fetchAll({feed.request(), feed.signatureRequest()});
        feed.take(std::move(results[0]));
        feed.takeSignature(std::move(results[1]));
        // Clients may need the statements of succession although this machine does not.
        FetchResult statements = fetcher->fetchAll({feed.successionRequest()}).front();
        const std::string succession =
            statements.outcome == FetchResult::Outcome::fetched ? statements.body : "";
        if (feed.lacksSuccession(rules_.verify))
            feed.takeSuccession(std::move(statements));
        feed.judge(rules_.verify, std::time(nullptr));
        if (feed.failure())
            throw Error(*feed.failure());
        const CachedFeed copy = feed.news({}).value().copy;
        index_.feeds()[address.text()] = {copy.serial, copy.signer};
        return {copy, succession};
    }

    /// What is remembered, as the last good copy without its bytes: the new ones are news always.
    KnownFeed knownOf(const Address& address) {
        KnownFeed known;
        const auto feed = index_.feeds().find(address.text());
        if (feed != index_.feeds().end()) {
            known.copy.emplace();
            known.copy->address = address.text();
            known.copy->serial = feed->second.serial;
            known.copy->signer = feed->second.signer;
        }
        return known;
    }

    /// Clients try the mirrors in their order, so the first one that can be had is enough.
    void copyPackage(const FeedItem& item, const Address& feed) {
        std::vector<Error> failures;
        for (const auto& mirror : item.mirrors) {
            const std::string place = placeOf(mirror);
            if (const auto owner = reserved_.find(place); owner != reserved_.end())
                fail(Status::feedInvalid, feed.text(),
                     "its package " + place + " has a place of the feed " + owner->second);
            if (const auto known = current_.find(place); known != current_.end()) {
                if (known->second == item.sha256)
                    return;
                fail(Status::feedInvalid, feed.text(),
                     "its package " + place + " is described otherwise before");
            }
            if (attempt([&] { copyPackage(place, mirror, item); }, failures))
                return;
        }
        report_.failures.insert(report_.failures.end(), failures.begin(), failures.end());
    }

    void copyPackage(const std::string& place, const Address& source, const FeedItem& item) {
        put(place, item.sha256, [&](AtomicFile& file) {
            if (item.size > rules_.packageBytes)
                fail(Status::packageTooLarge, place, std::to_string(item.size) + " bytes");
            FeedItem fromThere = item;
            fromThere.mirrors = {source};
            downloadInto(file.descriptor(), {fromThere, "", item.id, ""}, rules_.progress);
        });
    }

    void put(const std::string& place, const std::string& bytes) {
        const auto digest = loadOnline().crypto().sha256();
        digest->update(bytes);
        put(place, digest->finish(), [&](AtomicFile& file) { file.write(bytes); });
    }

    /// Puts the file with that digest in its place, unless it is there as an earlier run has left
    /// it. It gets its name when `fill` has written it.
    template <class Fill>
    void put(const std::string& place, const std::string& sha256, Fill fill) {
        const FileDescriptor folder = folderOf(place, Missing::isMade);
        const std::string name = nameOf(place);
        const auto known = index_.files().find(place);
        const MirroredFile now = lookAt(folder.get(), name, sha256);
        if (known != index_.files().end() && known->second.sha256 == sha256 &&
            now.size == known->second.size && now.modified == known->second.modified) {
            report_.unchanged.push_back(place);
        } else {
            AtomicFile file(folder.get(), name, path_ + "/" + place);
            fill(file);
            file.finish(kReadableByAll);
            index_.files()[place] = lookAt(folder.get(), name, sha256);
            report_.copied.push_back(place);
        }
        current_[place] = sha256;
    }

    void removeOld() {
        for (auto file = index_.files().begin(); file != index_.files().end();) {
            const std::string& place = file->first;
            if (current_.count(place) == 0 && attempt([&] { remove(place); }, report_.failures)) {
                report_.removed.push_back(place);
                file = index_.files().erase(file);
            } else {
                ++file;
            }
        }
    }

    void remove(const std::string& place) {
        const FileDescriptor folder = folderOf(place, Missing::isReported);
        if (folder && ::unlinkat(folder.get(), nameOf(place).c_str(), 0) != 0 && errno != ENOENT)
            failErrno(errno, path_ + "/" + place, "remove the file");
    }

    FileDescriptor folderOf(const std::string& place, Missing missing) const {
        return openTrustedFolder(folder_.get(), path_,
                                 place.substr(0, std::min(place.rfind('/'), place.size())),
                                 missing);
    }

    static std::string nameOf(const std::string& place) {
        return place.substr(place.rfind('/') + 1);
    }

    const std::string path_;
    const FileDescriptor folder_;
    const MirrorRules& rules_;
    MirrorIndex index_;
    std::vector<Address> feeds_;
    std::map<std::string, std::string> reserved_;  ///< places of feeds' own files, and whose
    std::map<std::string, std::string> current_;   ///< places of this run, and the digests there
    MirrorReport report_;
};

}  // namespace

MirrorReport mirrorFeeds(const std::vector<std::string>& addresses, const std::string& folder,
                         const MirrorRules& rules) try {
    return Mirror(std::filesystem::absolute(folder), rules).run(addresses);
} catch (const std::filesystem::filesystem_error& error) {
    failErrno(error.code().value(), folder, "find the folder");
}

}  // namespace tavik
