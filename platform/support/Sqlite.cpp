#include "platform/support/Sqlite.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <utility>

namespace tavik {
namespace {

constexpr int kMaxTextBytes = 16 << 20;

/// Each process that opens a database first reads its log from end to end; moving it into the file
/// takes two synchronisations. So the log is moved long before SQLite's own 1,000 pages.
constexpr int kMaxLogPages = 64;

/// Called after each commit. Truncates the log after the checkpoint. Otherwise a process that opens
/// the database later appends behind it, and the log never shrinks.
int keepLogShort(void* busyMilliseconds, sqlite3* handle, const char* name, int pages) {
    if (pages < kMaxLogPages)
        return SQLITE_OK;
    // The commit is done. If a reader keeps the log busy now, a later commit truncates it.
    sqlite3_busy_timeout(handle, 0);
    sqlite3_wal_checkpoint_v2(handle, name, SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
    sqlite3_busy_timeout(handle, *static_cast<const int*>(busyMilliseconds));
    return SQLITE_OK;
}

/// With SQLITE_OPEN_NOFOLLOW, SQLite refuses a link anywhere in the path. Only the file itself must
/// not be one; a folder above it may be, such as a home on another disk.
std::string withRealFolder(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos || slash == 0)
        return path;
    const std::unique_ptr<char, void (*)(void*)> folder(
        ::realpath(path.substr(0, slash).c_str(), nullptr), &std::free);
    return folder ? folder.get() + path.substr(slash) : path;
}

constexpr const char* kPathsAsNamed = "paths-as-named";

/// SQLite's own file layer follows the links of a path and opens what they lead to. So a path below
/// /proc/self/fd would become the folder's present path, which another folder may have by now. This
/// is the same layer, but it opens a path as it is.
void registerPathsAsNamed() {
    static sqlite3_vfs layer = [] {
        const sqlite3_vfs* own = sqlite3_vfs_find(nullptr);
        if (own == nullptr)
            throw std::bad_alloc();
        sqlite3_vfs copy = *own;
        copy.pNext = nullptr;
        copy.zName = kPathsAsNamed;
        copy.xFullPathname = [](sqlite3_vfs*, const char* path, int size, char* full) {
            sqlite3_snprintf(size, full, "%s", path);
            return SQLITE_OK;
        };
        return copy;
    }();
    static const int registered = sqlite3_vfs_register(&layer, 0);
    if (registered != SQLITE_OK)
        throw SqliteError(registered, "its files cannot be opened by descriptor");
}

FileDescriptor anotherDescriptorOf(int folder) {
    FileDescriptor another(::fcntl(folder, F_DUPFD_CLOEXEC, 0));
    if (!another)
        throw SqliteError(SQLITE_CANTOPEN, "open the folder", errno);
    return another;
}

/// SQLite keeps the number of the last system call that failed, whatever fails after it.
int systemErrorOf(sqlite3* handle) {
    switch (sqlite3_errcode(handle)) {
        case SQLITE_IOERR:
        case SQLITE_CANTOPEN:
        case SQLITE_READONLY:
        case SQLITE_FULL:
        case SQLITE_PERM:
            return sqlite3_system_errno(handle);
        default:
            return 0;
    }
}

/// `code` is what the call answered. The handle knows more, but some calls that find no memory
/// leave it as it was.
[[noreturn]] void fail(sqlite3* handle, int code) {
    const int handlesCode = handle == nullptr ? code : sqlite3_extended_errcode(handle);
    for (const int each : {code, handlesCode})
        if ((each & 0xFF) == SQLITE_NOMEM || each == SQLITE_IOERR_NOMEM)
            throw std::bad_alloc();
    if (handle == nullptr || (handlesCode & 0xFF) != (code & 0xFF))
        throw SqliteError(code, sqlite3_errstr(code));
    throw SqliteError(handlesCode, sqlite3_errmsg(handle), systemErrorOf(handle));
}

struct Free {
    void operator()(unsigned char* bytes) const noexcept { sqlite3_free(bytes); }
};

void deserialize(const Database& database, unsigned char* bytes, std::size_t size,
                 std::size_t capacity, unsigned flags) {
    const int code =
        sqlite3_deserialize(database.get(), "main", bytes, static_cast<sqlite3_int64>(size),
                            static_cast<sqlite3_int64>(capacity), flags);
    // Every failure is SQLITE_ERROR. The bytes are not looked at yet, so only memory can be
    // missing.
    if (code != SQLITE_OK)
        fail(database.get(), code == SQLITE_ERROR ? SQLITE_NOMEM : code);
}

}  // namespace

Database::Database(const std::string& path, int flags, std::chrono::milliseconds busyTimeout)
    : Database({}, withRealFolder(path), nullptr, flags, busyTimeout) {}

Database Database::openIn(int folder, const std::string& name, int flags,
                          std::chrono::milliseconds busyTimeout) {
    registerPathsAsNamed();
    FileDescriptor own = anotherDescriptorOf(folder);
    const std::string path = "/proc/self/fd/" + std::to_string(own.get()) + "/" + name;
    return {std::move(own), path, kPathsAsNamed, flags, busyTimeout};
}

Database::Database(FileDescriptor folder, const std::string& path, const char* fileLayer, int flags,
                   std::chrono::milliseconds busyTimeout)
    : folder_(std::move(folder)),
      busyMilliseconds_(std::make_unique<int>(static_cast<int>(busyTimeout.count()))) {
    sqlite3* handle = nullptr;
    const int code = sqlite3_open_v2(
        path.c_str(), &handle,
        flags | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_EXRESCODE | SQLITE_OPEN_NOMUTEX, fileLayer);
    handle_.reset(handle);
    if (code != SQLITE_OK)
        fail(handle, code);
    // First of all, so that no later call can meet a lock without it.
    sqlite3_busy_timeout(handle, *busyMilliseconds_);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_limit(handle, SQLITE_LIMIT_LENGTH, kMaxTextBytes);
    sqlite3_wal_hook(handle, &keepLogShort, busyMilliseconds_.get());
    execute("PRAGMA cell_size_check=ON; PRAGMA foreign_keys=ON");
}

Database Database::inMemory() {
    return {":memory:", SQLITE_OPEN_READWRITE, std::chrono::milliseconds(0)};
}

Database Database::overImage(std::string_view image) {
    Database database = inMemory();
    // SQLite takes the bytes as changeable, and leaves them alone with this flag.
    auto* bytes = const_cast<unsigned char*>(reinterpret_cast<const unsigned char*>(image.data()));
    deserialize(database, bytes, image.size(), image.size(), SQLITE_DESERIALIZE_READONLY);
    // Pages are used where they stand instead of being copied.
    database.execute("PRAGMA mmap_size = 1073741824");
    return database;
}

Database Database::withinImage(PageMemory& image) {
    Database database = inMemory();
    deserialize(database, reinterpret_cast<unsigned char*>(image.data()), image.size(),
                image.capacity(), 0);
    return database;
}

void Database::useImage(const std::function<void(std::string_view)>& use) const {
    sqlite3_int64 size = 0;
    const unsigned char* own = sqlite3_serialize(get(), "main", &size, SQLITE_SERIALIZE_NOCOPY);
    std::unique_ptr<unsigned char, Free> copy;
    if (own == nullptr) {
        copy.reset(sqlite3_serialize(get(), "main", &size, 0));
        own = copy.get();
    }
    if (own == nullptr)
        throw std::bad_alloc();
    use({reinterpret_cast<const char*>(own), static_cast<std::size_t>(size)});
}

void Database::compact() {
    const std::int64_t free = pragmaNumber("freelist_count");
    if (free > pragmaNumber("page_count") / 3)
        // What it works with is as large as the database. For one in memory that is no file either.
        execute("PRAGMA temp_store = MEMORY; VACUUM");
}

void Database::execute(const char* sql) {
    const int code = sqlite3_exec(get(), sql, nullptr, nullptr, nullptr);
    if (code != SQLITE_OK)
        fail(get(), code);
}

std::int64_t Database::pragmaNumber(const char* name) {
    Statement statement(*this, std::string("PRAGMA ") + name);
    return statement.step() ? statement.number(0) : 0;
}

Statement::Statement(const Database& database, std::string_view sql) {
    sqlite3_stmt* handle = nullptr;
    const int code = sqlite3_prepare_v2(database.get(), sql.data(), static_cast<int>(sql.size()),
                                        &handle, nullptr);
    if (code != SQLITE_OK)
        fail(database.get(), code);
    handle_.reset(handle);
}

Statement& Statement::bind(int parameter, std::string_view text) {
    // A view without data would bind NULL; an empty text is meant.
    const char* data = text.data() == nullptr ? "" : text.data();
    check(sqlite3_bind_text64(handle_.get(), parameter, data, text.size(), SQLITE_STATIC,
                              SQLITE_UTF8));
    return *this;
}

Statement& Statement::bind(int parameter, std::int64_t number) {
    check(sqlite3_bind_int64(handle_.get(), parameter, number));
    return *this;
}

Statement& Statement::bindBytes(int parameter, std::string_view bytes) {
    check(sqlite3_bind_blob64(handle_.get(), parameter, bytes.data(), bytes.size(), SQLITE_STATIC));
    return *this;
}

bool Statement::step() {
    const int code = sqlite3_step(handle_.get());
    if (code != SQLITE_ROW && code != SQLITE_DONE)
        fail(sqlite3_db_handle(handle_.get()), code);
    return code == SQLITE_ROW;
}

void Statement::run() {
    step();
    reset();
}

std::string_view Statement::text(int column) const {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(handle_.get(), column));
    // A null pointer stands for NULL, or for a text that there is no memory for. Only the error
    // code tells the two apart.
    if (bytes == nullptr && sqlite3_errcode(sqlite3_db_handle(handle_.get())) == SQLITE_NOMEM)
        throw std::bad_alloc();
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(handle_.get(), column));
    return bytes == nullptr ? std::string_view() : std::string_view(bytes, size);
}

void Statement::check(int code) const {
    if (code != SQLITE_OK)
        fail(sqlite3_db_handle(handle_.get()), code);
}

Transaction::Transaction(Database& database, Kind kind) : database_(database) {
    database_.execute(kind == Kind::write ? "BEGIN IMMEDIATE" : "BEGIN");
}

Transaction::~Transaction() {
    if (open_)
        sqlite3_exec(database_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit() {
    database_.execute("COMMIT");
    open_ = false;
}

}  // namespace tavik
