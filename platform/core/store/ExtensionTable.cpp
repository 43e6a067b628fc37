#include "platform/core/store/ExtensionTable.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/core/status/SqliteFailure.h"
#include "platform/core/status/Status.h"

namespace tavik {
namespace {

constexpr const char* kFileName = "store.db";
constexpr const char* kNewFileName = "store.db.new";
constexpr mode_t kFileMode = 0644;
constexpr std::chrono::seconds kBusyTimeout{30};

// "Tavk": tells our database from any other file that SQLite could open.
constexpr std::int64_t kApplicationId = 0x5461766B;
constexpr std::int64_t kSchemaVersion = 1;

constexpr const char* kCreateSchema = R"sql(
PRAGMA application_id = 0x5461766B;
PRAGMA user_version = 1;
CREATE TABLE extension (
    idKey           TEXT    NOT NULL PRIMARY KEY,
    id              TEXT    NOT NULL,
    name            TEXT    NOT NULL,
    version         TEXT    NOT NULL,
    storeName       TEXT    NOT NULL,
    updateUrl       TEXT    NOT NULL,
    folder          TEXT    NOT NULL UNIQUE,
    signer          TEXT    NOT NULL,
    state           INTEGER NOT NULL CHECK (state IN (0, 1)),
    requiresAccount INTEGER NOT NULL CHECK (requiresAccount IN (0, 1))
) STRICT, WITHOUT ROWID;
CREATE TABLE extensionProduct (
    idKey      TEXT    NOT NULL REFERENCES extension ON DELETE CASCADE,
    position   INTEGER NOT NULL,
    product    TEXT    NOT NULL,
    minVersion TEXT    NOT NULL,
    maxVersion TEXT    NOT NULL,
    PRIMARY KEY (idKey, position)
) STRICT, WITHOUT ROWID;
CREATE TABLE settlement (count INTEGER NOT NULL, linkedProducts TEXT NOT NULL) STRICT;
INSERT INTO settlement VALUES (0, '');
)sql";

constexpr std::string_view kSelectExtensions =
    "SELECT idKey, id, name, version, storeName, updateUrl, folder, signer, state,"
    " requiresAccount FROM extension";
constexpr std::string_view kSelectProducts =
    "SELECT idKey, product, minVersion, maxVersion FROM extensionProduct";
constexpr std::string_view kOfOneExtension = " WHERE idKey = ?1";
constexpr std::string_view kByKey = " ORDER BY idKey";
constexpr std::string_view kByKeyAndPosition = " ORDER BY idKey, position";
constexpr std::string_view kSelectList =
    "SELECT idKey, id, name, version, storeName, state FROM extension ORDER BY idKey";
constexpr std::string_view kSelectMemberships =
    "SELECT idKey, product FROM extensionProduct ORDER BY idKey, position";
constexpr std::string_view kSelectFolders = "SELECT folder FROM extension";
constexpr std::string_view kPutExtension =
    "INSERT INTO extension VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10)"
    " ON CONFLICT (idKey) DO UPDATE SET id = ?2, name = ?3, version = ?4, storeName = ?5,"
    " updateUrl = ?6, folder = ?7, signer = ?8, state = ?9, requiresAccount = ?10";
constexpr std::string_view kDeleteProducts = "DELETE FROM extensionProduct WHERE idKey = ?1";
constexpr std::string_view kInsertProduct =
    "INSERT INTO extensionProduct VALUES (?1, ?2, ?3, ?4, ?5)";
constexpr std::string_view kDeleteExtension = "DELETE FROM extension WHERE idKey = ?1";
constexpr std::string_view kSettle = "UPDATE settlement SET count = count + 1";
constexpr std::string_view kSelectLinkedProducts = "SELECT linkedProducts FROM settlement";
constexpr std::string_view kSetLinkedProducts = "UPDATE settlement SET linkedProducts = ?1";
constexpr std::string_view kSetState = "UPDATE extension SET state = ?2 WHERE idKey = ?1";

std::string pathOf(const StoreFolder& folder) {
    return folder.path() + "/" + kFileName;
}

bool exists(const StoreFolder& folder) {
    struct stat info {};
    if (::fstatat(folder.descriptor(), kFileName, &info, AT_SYMLINK_NOFOLLOW) == 0) {
        if (!S_ISREG(info.st_mode))
            fail(Status::storeUnsafe, pathOf(folder), "it is no regular file");
        return true;
    }
    if (errno != ENOENT)
        failErrno(errno, pathOf(folder), "look at the database");
    return false;
}

bool hasLog(const StoreFolder& folder) {
    struct stat info {};
    const std::string name = std::string(kFileName) + "-wal";
    return ::fstatat(folder.descriptor(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
}

std::string immutableUri(const std::string& path) {
    std::string uri = "file:";
    for (const char c : path) {
        if (c == '%' || c == '?' || c == '#') {
            constexpr const char* kDigits = "0123456789ABCDEF";
            uri += {'%', kDigits[c >> 4], kDigits[c & 15]};
        } else {
            uri += c;
        }
    }
    return uri + "?immutable=1";
}

/// SQLite gives the files beside a database the rights of the database itself.
void makeEmptyFile(const StoreFolder& folder, const std::string& path) {
    ::unlinkat(folder.descriptor(), kNewFileName, 0);
    const FileDescriptor file(::openat(folder.descriptor(), kNewFileName,
                                       O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                       kFileMode));
    if (!file || ::fchmod(file.get(), kFileMode) != 0)
        failErrno(errno, path, "make the database");
}

/// Makes the database under another name and renames it when it is whole, so that nobody ever
/// meets half of one. The first commit synchronises the folder and with it the new name.
void createDatabase(const StoreFolder& folder) {
    const std::string path = folder.path() + "/" + kNewFileName;
    makeEmptyFile(folder, path);
    {
        Database database(path, SQLITE_OPEN_READWRITE, kBusyTimeout);
        database.execute("PRAGMA journal_mode = MEMORY; PRAGMA synchronous = OFF; BEGIN");
        database.execute(kCreateSchema);
        database.execute("COMMIT");
        // A network file system has no shared memory between machines, which WAL needs.
        database.execute(folder.isOnNetwork() ? "PRAGMA journal_mode = DELETE"
                                              : "PRAGMA journal_mode = WAL");
    }
    const FileDescriptor file(::openat(folder.descriptor(), kNewFileName, O_RDWR | O_CLOEXEC));
    if (!file || ::fsync(file.get()) != 0 ||
        ::renameat(folder.descriptor(), kNewFileName, folder.descriptor(), kFileName) != 0)
        failErrno(errno, path, "make the database");
}

/// The statement for one extension, or for all of them where `idKey` is empty.
Statement select(const Database& database, std::string_view columns, const std::string& idKey,
                 std::string_view order) {
    std::string sql(columns);
    if (!idKey.empty())
        sql += kOfOneExtension;
    sql += order;
    Statement statement(database, sql);
    if (!idKey.empty())
        statement.bind(1, idKey);
    return statement;
}

ListedExtension listedOf(const Statement& select, TextArena& texts) {
    ListedExtension extension;
    extension.idKey = texts.keep(select.text(0));
    // The two differ in letter case at the most, and hardly ever do.
    const std::string_view id = select.text(1);
    extension.id = id == extension.idKey ? extension.idKey : texts.keep(id);
    extension.name = texts.keep(select.text(2));
    extension.version = texts.keep(select.text(3));
    extension.storeName = texts.keep(select.text(4));
    extension.state = select.number(5) != 0 ? ExtensionState::enabled : ExtensionState::disabled;
    return extension;
}

/// Keeps each product's name once: there are few, and the same ones follow each other.
std::string_view keepProduct(std::string_view product, std::vector<std::string_view>& known,
                             TextArena& texts) {
    const auto found = std::find(known.begin(), known.end(), product);
    if (found != known.end())
        return *found;
    known.push_back(texts.keep(product));
    return known.back();
}

ExtensionRow rowOf(const Statement& select) {
    ExtensionRow row;
    row.idKey = select.text(0);
    row.id = select.text(1);
    row.name = select.text(2);
    row.version = select.text(3);
    row.storeName = select.text(4);
    row.updateUrl = select.text(5);
    row.folder = select.text(6);
    row.signer = select.text(7);
    row.state = select.number(8) != 0 ? ExtensionState::enabled : ExtensionState::disabled;
    row.requiresAccount = select.number(9) != 0;
    return row;
}

/// An empty text stands for no bound.
std::string_view textOf(const std::optional<Version>& bound) {
    return bound ? std::string_view(bound->text()) : std::string_view();
}

void putProducts(const Database& database, const ExtensionRow& row) {
    Statement(database, kDeleteProducts).bind(1, row.idKey).run();
    Statement insert(database, kInsertProduct);
    std::int64_t position = 0;
    for (const auto& product : row.products)
        insert.bind(1, row.idKey)
            .bind(2, position++)
            .bind(3, product.name)
            .bind(4, textOf(product.minVersion))
            .bind(5, textOf(product.maxVersion))
            .run();
}

}  // namespace

template <class Work>
auto ExtensionTable::guarded(Work work) {
    try {
        return work();
    } catch (const SqliteError& error) {
        failSqlite(error, path_);
    }
}

ExtensionTable::ExtensionTable(std::string path, int flags)
    : path_(std::move(path)), database_(path_, flags, kBusyTimeout) {
    // A short run must not pay for a checkpoint at its end, and the log must stay for readers who
    // may not create it.
    sqlite3_db_config(database_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    int persist = 1;
    sqlite3_file_control(database_.get(), "main", SQLITE_FCNTL_PERSIST_WAL, &persist);
    checkIdentity();
}

void ExtensionTable::checkIdentity() {
    const auto version = database_.pragmaNumber("user_version");
    if (database_.pragmaNumber("application_id") != kApplicationId)
        fail(Status::storeDamaged, path_, "it is another program's database");
    if (version > kSchemaVersion)
        fail(Status::storeNewer, path_,
             "its schema has version " + std::to_string(version) + ", this tool knows " +
                 std::to_string(kSchemaVersion));
}

std::optional<ExtensionTable> ExtensionTable::openForReading(const StoreFolder& folder) {
    if (!exists(folder))
        return std::nullopt;
    try {
        // Without a log, a reader who may not create one reads the file alone: there is nothing
        // else to read.
        const bool alone =
            !hasLog(folder) && ::faccessat(folder.descriptor(), ".", W_OK, AT_EACCESS) != 0;
        return ExtensionTable(alone ? immutableUri(pathOf(folder)) : pathOf(folder),
                              SQLITE_OPEN_READONLY | (alone ? SQLITE_OPEN_URI : 0));
    } catch (const SqliteError& error) {
        failSqlite(error, pathOf(folder));
    }
}

ExtensionTable ExtensionTable::openForWriting(const StoreFolder& folder, const StoreLock&) {
    try {
        if (!exists(folder))
            createDatabase(folder);
        ExtensionTable table(pathOf(folder), SQLITE_OPEN_READWRITE);
        // With a rollback journal, only EXTRA also synchronises the folder after a commit.
        table.database_.execute(folder.isOnNetwork() ? "PRAGMA synchronous = EXTRA"
                                                     : "PRAGMA synchronous = FULL");
        return table;
    } catch (const SqliteError& error) {
        failSqlite(error, pathOf(folder));
    }
}

std::vector<ExtensionRow> ExtensionTable::readAll() {
    return read("");
}

std::optional<ExtensionRow> ExtensionTable::find(const std::string& idKey) {
    auto rows = read(idKey);
    if (rows.empty())
        return std::nullopt;
    return std::move(rows.front());
}

std::vector<ExtensionRow> ExtensionTable::read(const std::string& idKey) {
    return guarded([&] {
        Transaction moment(database_, Transaction::Kind::read);
        std::vector<ExtensionRow> rows;
        Statement extensions = select(database_, kSelectExtensions, idKey, kByKey);
        while (extensions.step())
            rows.push_back(rowOf(extensions));

        // Both come in the order of idKey, so one walk joins them.
        Statement products = select(database_, kSelectProducts, idKey, kByKeyAndPosition);
        auto row = rows.begin();
        while (products.step()) {
            while (row != rows.end() && row->idKey != products.text(0))
                ++row;
            if (row == rows.end())
                fail(Status::storeDamaged, path_, "a product without its extension");
            row->products.push_back({std::string(products.text(1)),
                                     Version::parse(products.text(2)),
                                     Version::parse(products.text(3))});
        }
        return rows;
    });
}

ExtensionList ExtensionTable::readList(TextArena& texts) {
    return guarded([&] {
        Transaction moment(database_, Transaction::Kind::read);
        ExtensionList list;
        Statement extensions(database_, kSelectList);
        while (extensions.step())
            list.extensions.push_back(listedOf(extensions, texts));

        Statement memberships(database_, kSelectMemberships);
        std::vector<std::string_view> products;
        std::size_t at = 0;
        while (memberships.step()) {
            const std::string_view idKey = memberships.text(0);
            while (at < list.extensions.size() && list.extensions[at].idKey != idKey)
                ++at;
            if (at == list.extensions.size())
                fail(Status::storeDamaged, path_, "a product without its extension");
            list.memberships.push_back({at, keepProduct(memberships.text(1), products, texts)});
        }
        return list;
    });
}

std::vector<std::string> ExtensionTable::readFolders() {
    return guarded([&] {
        std::vector<std::string> folders;
        Statement select(database_, kSelectFolders);
        while (select.step())
            folders.emplace_back(select.text(0));
        return folders;
    });
}

void ExtensionTable::settle() {
    guarded([&] { Statement(database_, kSettle).run(); });
}

std::string ExtensionTable::linkedProducts() {
    return guarded([&] {
        Statement select(database_, kSelectLinkedProducts);
        return select.step() ? std::string(select.text(0)) : std::string();
    });
}

void ExtensionTable::setLinkedProducts(const std::string& text) {
    guarded([&] { Statement(database_, kSetLinkedProducts).bind(1, text).run(); });
}

void ExtensionTable::put(const ExtensionRow& row) {
    guarded([&] {
        Transaction change(database_, Transaction::Kind::write);
        Statement(database_, kPutExtension)
            .bind(1, row.idKey)
            .bind(2, row.id)
            .bind(3, row.name)
            .bind(4, row.version)
            .bind(5, row.storeName)
            .bind(6, row.updateUrl)
            .bind(7, row.folder)
            .bind(8, row.signer)
            .bind(9, static_cast<std::int64_t>(row.state))
            .bind(10, std::int64_t{row.requiresAccount})
            .run();
        putProducts(database_, row);
        change.commit();
    });
}

void ExtensionTable::remove(const std::string& idKey) {
    guarded([&] { Statement(database_, kDeleteExtension).bind(1, idKey).run(); });
}

void ExtensionTable::setState(const std::string& idKey, ExtensionState state) {
    guarded([&] {
        Statement(database_, kSetState)
            .bind(1, idKey)
            .bind(2, static_cast<std::int64_t>(state))
            .run();
    });
}

}  // namespace tavik
