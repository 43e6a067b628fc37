// What earlier checks learned protects against a feed that is rolled back, and against a version
// that is offered again with other content. Several processes may use the file at once:
//
// 1. The file, and those that SQLite keeps beside it, are looked at before SQLite opens them. A
//    link, or a file that somebody else could have written, is refused. SQLite then opens them
//    through the folder's descriptor, so a folder that takes the path meanwhile is not met.
// 2. A later form is refused. An earlier one is upgraded in a write transaction, which reads the
//    form again: another process may have been faster. The first save creates the tables likewise.
// 3. find() reads all feeds in one transaction, so it sees a save of another process whole or not
//    at all.
// 4. save() writes all feeds in one transaction. Of two processes that fetched at once, the one
//    with the older copy of a feed may save last: a lower serial replaces nothing, unless the feed
//    restarts after the highest serial there is. The digest that a version had first stays.
// 5. A damaged file is deleted, and the work is done again without it.

#include "platform/core/updates/FeedDatabase.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/core/disk/NetworkDisk.h"
#include "platform/core/disk/SafeFolder.h"
#include "platform/core/status/SqliteFailure.h"
#include "platform/core/status/Status.h"
#include "platform/core/updates/Feed.h"

namespace tavik {
namespace {

constexpr std::chrono::seconds kBusyTimeout{10};

// "Tavf": tells our file from any other that SQLite could open.
constexpr std::int64_t kApplicationId = 0x54617666;
constexpr std::int64_t kSchemaVersion = 3;

// A commit does not wait for the disk unless it moves the log. A power cut may undo the last
// commits. It never leaves half of one.
constexpr const char* kSettings = "PRAGMA synchronous = NORMAL";
// Creating the file does not wait for the disk at all. The first content goes to the log. After a
// power cut, SQLite takes from the log only transactions whose checksums are right.
constexpr const char* kNewSettings =
    "PRAGMA synchronous = OFF; PRAGMA journal_mode = WAL; PRAGMA wal_autocheckpoint = 0";
// A log needs memory that all its users share. Two machines share none, so a network disk gets a
// rollback journal. It survives a power cut only if each step waits for the disk.
constexpr const char* kNetworkSettings = "PRAGMA synchronous = FULL";
constexpr const char* kCreateSchema = R"sql(
CREATE TABLE feed (
    address      TEXT    NOT NULL PRIMARY KEY,
    etag         TEXT    NOT NULL,
    lastModified TEXT    NOT NULL,
    serial       INTEGER NOT NULL,
    signature    TEXT    NOT NULL,
    body         TEXT    NOT NULL,
    signer       TEXT    NOT NULL DEFAULT '',
    goodOn       TEXT    NOT NULL DEFAULT ''
) STRICT;
CREATE TABLE seenVersion (
    address TEXT NOT NULL,
    idKey   TEXT NOT NULL,
    version TEXT NOT NULL,
    sha256  TEXT NOT NULL,
    PRIMARY KEY (address, idKey, version)
) STRICT, WITHOUT ROWID;
PRAGMA application_id = 0x54617666;
PRAGMA user_version = 3;
)sql";
// Form 1 did not know who signed a feed.
constexpr const char* kUpgradeForm1 = R"sql(
ALTER TABLE feed ADD COLUMN signer TEXT NOT NULL DEFAULT '';
PRAGMA user_version = 2;
)sql";
// Form 2 did not know when a feed was last good.
constexpr const char* kUpgradeForm2 = R"sql(
ALTER TABLE feed ADD COLUMN goodOn TEXT NOT NULL DEFAULT '';
PRAGMA user_version = 3;
)sql";

constexpr std::int64_t kNoSerial = -1;

constexpr const char* kSuffixes[] = {"", "-wal", "-shm", "-journal"};

constexpr std::string_view kFind =
    "SELECT etag, lastModified, serial, signature, body, signer, goodOn FROM feed WHERE address = "
    "?1";
constexpr std::string_view kSeen =
    "SELECT idKey, version, sha256 FROM seenVersion WHERE address = ?1";
constexpr std::string_view kPutFeed =
    "INSERT INTO feed VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8) ON CONFLICT (address) DO UPDATE SET"
    " etag = ?2, lastModified = ?3, serial = ?4, signature = ?5, body = ?6, signer = ?7,"
    " goodOn = ?8 WHERE ?4 >= serial OR serial = ?9";
constexpr std::string_view kPutSeen =
    "INSERT INTO seenVersion VALUES (?1, ?2, ?3, ?4) ON CONFLICT DO NOTHING";
constexpr std::string_view kGoodDays = "SELECT address, goodOn FROM feed";

struct Identity {
    std::int64_t form, application;
};

/// Takes the log away that a file has from a time when its disk was no network disk.
void leaveLog(Database& database) {
    try {
        database.execute("PRAGMA journal_mode = DELETE");
    } catch (const SqliteError& error) {
        // Another process of this machine uses the log just now; a later run finds it free.
        if (error.code() != SQLITE_BUSY)
            throw;
    }
}

/// Reads both in one transaction, because another process may be creating the file.
Identity identityOf(Database& database) {
    Transaction moment(database, Transaction::Kind::read);
    return {database.pragmaNumber("user_version"), database.pragmaNumber("application_id")};
}

/// Brings a file of an earlier form to the present one; its form now.
std::int64_t upgrade(Database& database) {
    Transaction transaction(database, Transaction::Kind::write);
    // Another process may have done it meanwhile.
    if (database.pragmaNumber("user_version") == 1)
        database.execute(kUpgradeForm1);
    if (database.pragmaNumber("user_version") == 2)
        database.execute(kUpgradeForm2);
    transaction.commit();
    return database.pragmaNumber("user_version");
}

std::string nameOf(const std::string& file) {
    return file.substr(file.rfind('/') + 1);
}

FileDescriptor openFolderOf(const std::string& file) {
    return openSafeFolder(file.substr(0, file.rfind('/')));
}

/// Looks at the database and at the files that SQLite keeps beside it; whether there is one. Only
/// root and the current user may write to the folder, so what was found stays so.
bool isThere(const FileDescriptor& folder, const std::string& file) {
    bool isDatabaseThere = false;
    for (const char* suffix : kSuffixes) {
        const bool isFound =
            hasSafeFile(folder.get(), nameOf(file) + suffix, {file + suffix, Status::storeUnsafe});
        isDatabaseThere = isDatabaseThere || (isFound && *suffix == '\0');
    }
    return isDatabaseThere;
}

std::optional<CachedFeed> readCopy(Statement& select, const std::string& address) {
    select.reset();
    if (!select.bind(1, address).step())
        return std::nullopt;
    return CachedFeed{address,
                      std::string(select.text(0)),
                      std::string(select.text(1)),
                      select.number(2),
                      std::string(select.text(3)),
                      std::string(select.text(4)),
                      std::string(select.text(5)),
                      std::string(select.text(6))};
}

std::vector<SeenVersion> readSeen(Statement& select, const std::string& address) {
    select.reset();
    select.bind(1, address);
    std::vector<SeenVersion> versions;
    while (select.step())
        if (auto version = Version::parse(select.text(1)))
            versions.push_back(
                {std::string(select.text(0)), *std::move(version), std::string(select.text(2))});
    return versions;
}

}  // namespace

/// Runs `work`. If the file is damaged, it is deleted, and `work` runs once more without it.
template <class Work>
auto FeedDatabase::guarded(Work work) {
    try {
        try {
            return work();
        } catch (const SqliteError& error) {
            if (!isDamage(error))
                throw;
            database_.reset();
            for (const char* suffix : kSuffixes)
                ::unlinkat(folder_.get(), (nameOf(file_) + suffix).c_str(), 0);
            return work();
        }
    } catch (const SqliteError& error) {
        failSqlite(error, file_);
    }
}

FeedDatabase::FeedDatabase(std::string file)
    : file_(std::move(file)),
      folder_(openFolderOf(file_)),
      isOnNetwork_(isOnNetwork(folder_.get())) {
    if (folder_)
        guarded([this] { open(SQLITE_OPEN_READWRITE); });
}

void FeedDatabase::open(int flags) {
    if (!folder_)
        failErrno(ENOENT, file_, "open its folder");
    if (database_ || (!isThere(folder_, file_) && (flags & SQLITE_OPEN_CREATE) == 0))
        return;
    Database database = Database::openIn(folder_.get(), nameOf(file_), flags, kBusyTimeout);
    // Moving the log into the file at the end would slow short runs down.
    sqlite3_db_config(database.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    if (isOnNetwork_)
        leaveLog(database);
    auto [form, application] = identityOf(database);
    if (application == kApplicationId && (form == 1 || form == 2))
        form = upgrade(database);
    if (application == kApplicationId && form > kSchemaVersion)
        fail(Status::storeNewer, file_,
             "form " + std::to_string(form) + ", known up to " + std::to_string(kSchemaVersion));
    if ((application != 0 || form != 0) &&
        (application != kApplicationId || form != kSchemaVersion))
        throw SqliteError(SQLITE_NOTADB, "another program's file");
    // A file that another process has just created has nothing for readers yet.
    if (form == kSchemaVersion || (flags & SQLITE_OPEN_CREATE) != 0)
        database_.emplace(std::move(database));
}

std::vector<KnownFeed> FeedDatabase::find(const std::vector<std::string>& addresses) {
    return guarded([&] {
        std::vector<KnownFeed> known(addresses.size());
        if (!database_)
            return known;
        Transaction moment(*database_, Transaction::Kind::read);
        Statement copy(*database_, kFind);
        Statement seen(*database_, kSeen);
        for (std::size_t i = 0; i < addresses.size(); ++i)
            known[i] = {readCopy(copy, addresses[i]), readSeen(seen, addresses[i])};
        return known;
    });
}

void FeedDatabase::save(const std::vector<GoodFeed>& feeds) {
    guarded([&] {
        open(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
        const bool isNew = database_->pragmaNumber("user_version") == 0;
        database_->execute(isOnNetwork_ ? kNetworkSettings : isNew ? kNewSettings : kSettings);
        Transaction transaction(*database_, Transaction::Kind::write);
        // Another process may have made it meanwhile.
        if (isNew && database_->pragmaNumber("user_version") == 0)
            database_->execute(kCreateSchema);
        Statement putFeed(*database_, kPutFeed);
        Statement putSeen(*database_, kPutSeen);
        for (const auto& [copy, versions, restarts] : feeds) {
            putFeed.bind(1, copy.address)
                .bind(2, copy.etag)
                .bind(3, copy.lastModified)
                .bind(4, copy.serial)
                .bind(5, copy.signature)
                .bind(6, copy.body)
                .bind(7, copy.signer)
                .bind(8, copy.goodOn)
                .bind(9, restarts ? kMaxFeedSerial : kNoSerial)
                .run();
            for (const auto& seen : versions)
                putSeen.bind(1, copy.address)
                    .bind(2, seen.idKey)
                    .bind(3, seen.version.text())
                    .bind(4, seen.sha256)
                    .run();
        }
        transaction.commit();
    });
}

std::map<std::string, std::string> readGoodDays(const std::string& file) try {
    std::map<std::string, std::string> days;
    const FileDescriptor folder = openFolderOf(file);
    if (!folder || !isThere(folder, file))
        return days;
    Database database =
        Database::openIn(folder.get(), nameOf(file), SQLITE_OPEN_READONLY, kBusyTimeout);
    const auto [form, application] = identityOf(database);
    if (application != kApplicationId || form != kSchemaVersion)
        return days;
    Statement select(database, kGoodDays);
    while (select.step())
        days.emplace(select.text(0), select.text(1));
    return days;
} catch (const SqliteError& error) {
    failSqlite(error, file);
}

}  // namespace tavik
