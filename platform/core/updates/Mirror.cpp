// A mirror's run goes feed by feed:
//
// 1. The feed and its signature are fetched and judged as a check for updates does: what clients
//    would not believe is not copied.
// 2. Its packages are downloaded, each checked against the feed's size and digest, and put in
//    place by a rename: nobody meets half a file.
// 3. The signature and the feed follow. Whoever reads the feed meanwhile finds the old one, whose
//    packages are still there.
// 4. When all feeds are done, what they no longer offer is removed, and the index is written. A run
//    that ends before leaves files that are right, and the next one copies what is missing.

#include "platform/core/updates/Mirror.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <set>
#include <system_error>

#include "platform/core/crypto/DetachedSignature.h"
#include "platform/core/disk/AtomicFile.h"
#include "platform/core/package/PathRules.h"
#include "platform/core/status/Status.h"
#include "platform/core/updates/MirrorIndex.h"

namespace tavik {
namespace {

namespace fs = std::filesystem;

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

class Mirror {
  public:
    Mirror(std::string folder, const MirrorRules& rules)
        : folder_(std::move(folder)), rules_(rules), index_(MirrorIndex::read(folder_)) {}

    MirrorReport run(const std::vector<std::string>& addresses) {
        fs::create_directories(folder_);
        for (const auto& text : addresses)
            attempt([&] { copyFeed(text); });
        if (report_.failures.empty())
            removeOld();
        index_.write(folder_);
        std::sort(report_.copied.begin(), report_.copied.end());
        std::sort(report_.unchanged.begin(), report_.unchanged.end());
        return std::move(report_);
    }

  private:
    template <class Work>
    void attempt(Work work) {
        try {
            work();
        } catch (const Error& error) {
            report_.failures.push_back(error);
        } catch (const AddressError& error) {
            report_.failures.emplace_back(static_cast<int>(Status::addressRefused), "mirror",
                                          error.what());
        } catch (const std::system_error& error) {
            report_.failures.emplace_back(static_cast<int>(Status::inputOutput), folder_,
                                          error.code().message());
        }
    }

    static Address addressOf(const std::string& text) {
        try {
            return Address::parse(text);
        } catch (const AddressError& error) {
            fail(Status::addressRefused, withoutSecrets(text), error.what());
        }
    }

    void copyFeed(const std::string& text) {
        const Address address = addressOf(text);
        if (!rules_.policy.allowsFeed(address))
            fail(Status::policyForbids, address.text());
        FeedRetrieval feed(address, address);
        const auto fetcher = loadOnline().newFetcher({});
        auto results = fetcher->fetchAll({feed.request(), feed.signatureRequest()});
        feed.take(std::move(results[0]));
        feed.takeSignature(std::move(results[1]));
        // Clients may need the statements of succession although this machine does not.
        const DocumentRequest succession = feed.successionRequest();
        FetchResult statements = fetcher->fetchAll({succession}).front();
        const std::string statementBytes =
            statements.outcome == FetchResult::Outcome::fetched ? statements.body : "";
        if (feed.lacksSuccession(rules_.verify))
            feed.takeSuccession(std::move(statements));
        feed.judge(rules_.verify, std::time(nullptr));
        if (feed.failure())
            throw Error(*feed.failure());
        const CachedFeed copy = feed.news({}).value().copy;

        // Relative addresses belong to where the feed was found; in the mirror, to where it stands.
        const Feed asPlaced = parseFeed(copy.body, address);
        const std::size_t failed = report_.failures.size();
        for (std::size_t i = 0; i < asPlaced.items.size(); ++i)
            if (!asPlaced.items[i].blocked)
                attempt([&] {
                    copyPackage(placeOf(asPlaced.items[i].mirrors.front()), feed.feed().items[i]);
                });
        // A feed must not offer what the mirror does not have.
        if (report_.failures.size() != failed)
            return;
        if (!statementBytes.empty())
            put(placeOf(succession.address), statementBytes);
        if (!copy.signature.empty())
            put(placeOf(address.withPathSuffix(kSignatureSuffix)), copy.signature);
        put(placeOf(address), copy.body);
    }

    void copyPackage(const std::string& place, const FeedItem& item) {
        if (!current_.insert(place).second)
            return;
        const std::string path = folder_ + "/" + place;
        if (isThere(place, item.sha256))
            return;
        if (item.size > rules_.packageBytes)
            fail(Status::packageTooLarge, place, std::to_string(item.size) + " bytes");
        download(path, item);
        index_.files()[place] = lookAt(path, item.sha256);
        report_.copied.push_back(place);
    }

    /// Whether the file is as an earlier run has left it; then it is reported as unchanged.
    bool isThere(const std::string& place, const std::string& sha256) {
        const auto known = index_.files().find(place);
        if (known == index_.files().end() || known->second.sha256 != sha256)
            return false;
        const MirroredFile now = lookAt(folder_ + "/" + place, sha256);
        if (now.size != known->second.size || now.modified != known->second.modified)
            return false;
        report_.unchanged.push_back(place);
        return true;
    }

    /// The file gets its name when it is whole.
    void download(const std::string& path, const FeedItem& item) {
        fs::create_directories(fs::path(path).parent_path());
        AtomicFile file(path);
        downloadInto(file.descriptor(), {item, "", item.id, ""}, rules_.progress);
        file.finish(kReadableByAll);
    }

    void put(const std::string& place, const std::string& bytes) {
        const std::string path = folder_ + "/" + place;
        current_.insert(place);
        const auto digest = loadOnline().crypto().sha256();
        digest->update(bytes);
        const std::string sha256 = digest->finish();
        if (isThere(place, sha256))
            return;
        fs::create_directories(fs::path(path).parent_path());
        AtomicFile file(path);
        file.write(bytes);
        file.finish(kReadableByAll);
        index_.files()[place] = lookAt(path, sha256);
        report_.copied.push_back(place);
    }

    void removeOld() {
        for (auto file = index_.files().begin(); file != index_.files().end();) {
            if (current_.count(file->first) != 0) {
                ++file;
                continue;
            }
            const std::string path = folder_ + "/" + file->first;
            if (::unlink(path.c_str()) != 0 && errno != ENOENT)
                failErrno(errno, path, "remove the file");
            report_.removed.push_back(file->first);
            file = index_.files().erase(file);
        }
    }

    const std::string folder_;
    const MirrorRules& rules_;
    MirrorIndex index_;
    std::set<std::string> current_;
    MirrorReport report_;
};

}  // namespace

MirrorReport mirrorFeeds(const std::vector<std::string>& addresses, const std::string& folder,
                         const MirrorRules& rules) try {
    return Mirror(folder, rules).run(addresses);
} catch (const std::system_error& error) {
    failErrno(error.code().value(), folder, "make the folder");
}

}  // namespace tavik
