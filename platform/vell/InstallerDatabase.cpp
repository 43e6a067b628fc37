#include "platform/vell/InstallerDatabase.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <filesystem>

#include "platform/support/Environment.h"
#include "platform/support/FileDescriptor.h"
#include "platform/support/Ownership.h"
#include "platform/vell/Failure.h"

namespace tavik::vell {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr const char* kSystemPath = "/var/lib/norva/vell.db";
constexpr std::chrono::milliseconds kBusyTimeout{2000};
constexpr std::int64_t kApplicationId = 0x4E56454C;  // "NVEL"
constexpr std::int64_t kSchemaVersion = 1;

// A data set is what one reader asks for at once: the keys and values of a pcd subdomain, or those
// of a payload in one domain. Ids and places grow in the order of writing, which is the order of
// all lists. STRICT keeps foreign types out of columns that are handed out as text.
constexpr const char* kCreateTables = R"sql(
CREATE TABLE data_set (
    id INTEGER PRIMARY KEY,
    kind TEXT NOT NULL CHECK (kind IN ('pcd', 'payload')),
    domain INTEGER NOT NULL,
    name TEXT NOT NULL,
    UNIQUE (kind, domain, name)
) STRICT;
CREATE INDEX data_set_in_order ON data_set (kind, domain, id);
CREATE TABLE data (
    data_set INTEGER NOT NULL REFERENCES data_set ON DELETE CASCADE,
    place INTEGER NOT NULL,
    key TEXT NOT NULL,
    value TEXT NOT NULL,
    PRIMARY KEY (data_set, place),
    UNIQUE (data_set, key)
) STRICT, WITHOUT ROWID;
CREATE TABLE payload (
    id INTEGER PRIMARY KEY,
    code TEXT NOT NULL UNIQUE,
    kind TEXT NOT NULL,
    state INTEGER NOT NULL
) STRICT;
CREATE TABLE payload_list (
    id INTEGER PRIMARY KEY,
    kind TEXT NOT NULL CHECK (kind IN ('collection', 'product')),
    name TEXT NOT NULL,
    UNIQUE (kind, name)
) STRICT;
CREATE TABLE payload_list_entry (
    payload_list INTEGER NOT NULL REFERENCES payload_list ON DELETE CASCADE,
    place INTEGER NOT NULL,
    payload TEXT NOT NULL REFERENCES payload (code),
    PRIMARY KEY (payload_list, place),
    UNIQUE (payload_list, payload)
) STRICT, WITHOUT ROWID;
CREATE TABLE modification (
    part TEXT PRIMARY KEY CHECK (part IN ('pcd', 'vell')),
    seconds INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
)sql";

constexpr const char* kModificationTime = "SELECT seconds FROM modification WHERE part = ?";
constexpr const char* kTouch =
    "INSERT INTO modification VALUES (?1, unixepoch()) "
    "ON CONFLICT (part) DO UPDATE SET seconds = max(seconds + 1, unixepoch())";

std::string nameOf(Part part) {
    return part == Part::pcd ? "pcd" : "vell";
}

bool isEmpty(Database& database) {
    return database.pragmaNumber("application_id") == 0 &&
           database.pragmaNumber("schema_version") == 0;
}

void checkForm(Database& database, const std::string& path) {
    if (database.pragmaNumber("application_id") != kApplicationId)
        throw damaged(path, "it is no installer database");
    const std::int64_t version = database.pragmaNumber("user_version");
    if (version > kSchemaVersion)
        throw Failure(VELL_STATUS_NEWER, "installer database " + path,
                      "it has version " + std::to_string(version) + " and this program knows " +
                          std::to_string(kSchemaVersion) + "; install a newer release");
    if (version < kSchemaVersion)
        throw damaged(path, "it has the unknown version " + std::to_string(version));
}

int flagsFor(Access access) {
    switch (access) {
        case Access::read:
            return SQLITE_OPEN_READONLY;
        case Access::write:
            return SQLITE_OPEN_READWRITE;
        case Access::create:
            break;
    }
    return SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
}

/// The path without links: an administrator may keep the file, or a folder above it, elsewhere.
std::string resolved(const std::string& path, Access access) {
    std::error_code error;
    const fs::path real = fs::canonical(path, error);
    if (!error && !fs::is_regular_file(real))
        throw damaged(path, "it is not a file");
    if (!error)
        return real;
    if (error != std::errc::no_such_file_or_directory && error != std::errc::not_a_directory)
        throw Failure(VELL_STATUS_NO_PERMISSION, "installer database " + path,
                      error.message() +
                          "; ask its owner for access, or name another one in "
                          "NORVA_VELL_DB");
    if (access != Access::create)
        throw noDatabase(path);
    const fs::path folder = fs::absolute(path).parent_path();
    fs::create_directories(folder, error);
    const fs::path realFolder = error ? fs::path() : fs::canonical(folder, error);
    if (error)
        throw Failure(VELL_STATUS_NO_PERMISSION, "folder " + folder.string(),
                      "cannot be made: " + error.message() +
                          "; run as a user who may, or name another file in NORVA_VELL_DB");
    return realFolder / fs::path(path).filename();
}

void requireOwn(const struct stat& info, const fs::path& real, const std::string& path) {
    if (!isOurs(info))
        throw untrusted(path, real.string() +
                                  " belongs to another user; name a database of yours in "
                                  "NORVA_VELL_DB, or run as that user");
    if (othersMayWrite(info))
        throw untrusted(path, "others may write to " + real.string() + "; take that right away");
}

/// Opens the folder of the database. Whoever may write to the database chooses the program that is
/// started. Whoever may write to its folder can put a journal there, and SQLite would roll the
/// database back to what that says. If others cannot write to the folder, what was checked cannot
/// change before it is opened.
FileDescriptor openOwnFolder(const fs::path& real, const std::string& path) {
    FileDescriptor folder(
        ::open(real.parent_path().c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat info {};
    if (!folder || ::fstat(folder.get(), &info) != 0)
        throw noDatabase(path);
    requireOwn(info, real.parent_path(), path);
    // Opening tells what is wrong with a file that cannot be looked at.
    if (::fstatat(folder.get(), real.filename().c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0)
        requireOwn(info, real, path);
    return folder;
}

/// When this process last gave up waiting for the database; 0 for never. A command opens several
/// sessions: it waits only for the first of them.
std::atomic<Clock::rep> lastVainWait{0};

std::chrono::milliseconds patience() {
    const Clock::rep last = lastVainWait;
    const auto since = Clock::now().time_since_epoch() - Clock::duration(last);
    return last != 0 && since < kBusyTimeout ? std::chrono::milliseconds(0) : kBusyTimeout;
}

Database openChecked(int folder, const std::string& path, const std::string& name, Access access) {
    Database database = Database::openIn(folder, name, flagsFor(access), patience());
    if (access != Access::create || !isEmpty(database))
        checkForm(database, path);
    // The database is free: later statements wait for their locks as usual.
    sqlite3_busy_timeout(database.get(), static_cast<int>(kBusyTimeout.count()));
    return database;
}

}  // namespace

std::string databasePath() {
    if (auto named = environmentVariable("NORVA_VELL_DB"))
        return *std::move(named);
    if (const auto home = userDataHome()) {
        std::string path = *home + "/norva/vell.db";
        std::error_code ignored;
        if (fs::exists(path, ignored))
            return path;
    }
    return kSystemPath;
}

Database open(const std::string& path, Access access) try {
    const fs::path real = resolved(path, access);
    const FileDescriptor folder = openOwnFolder(real, path);
    const std::string name = real.filename();
    try {
        return openChecked(folder.get(), path, name, access);
    } catch (const SqliteError& error) {
        if (error.extendedCode() != SQLITE_READONLY_ROLLBACK)
            throw;
    }
    // A writer was killed in the middle of a transaction. Opening the database for writing rolls
    // that back.
    Database::openIn(folder.get(), name, SQLITE_OPEN_READWRITE, kBusyTimeout)
        .pragmaNumber("schema_version");
    return openChecked(folder.get(), path, name, access);
} catch (const SqliteError& error) {
    if (error.code() == SQLITE_BUSY)
        lastVainWait = Clock::now().time_since_epoch().count();
    throw describe(error, path);
}

void createTables(Database& database) {
    if (!isEmpty(database))
        return;
    database.execute(kCreateTables);
    database.execute(("PRAGMA application_id=" + std::to_string(kApplicationId) +
                      "; PRAGMA user_version=" + std::to_string(kSchemaVersion))
                         .c_str());
}

std::int64_t modificationTime(const Database& database, Part part) {
    const std::string name = nameOf(part);
    Statement statement(database, kModificationTime);
    statement.bind(1, name);
    return statement.step() ? statement.number(0) : 0;
}

void touch(const Database& database, Part part) {
    const std::string name = nameOf(part);
    Statement(database, kTouch).bind(1, name).run();
}

}  // namespace tavik::vell
