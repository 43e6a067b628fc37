#pragma once

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/support/FileDescriptor.h"
#include "platform/support/PageMemory.h"

namespace tavik {

/// A failed SQLite call; what() is SQLite's own text.
class SqliteError : public std::runtime_error {
  public:
    SqliteError(int extendedCode, const std::string& text, int systemError = 0)
        : std::runtime_error(text), extendedCode_(extendedCode), systemError_(systemError) {}

    int extendedCode() const noexcept { return extendedCode_; }
    int code() const noexcept { return extendedCode_ & 0xFF; }
    /// The errno value of the system call that failed; 0 where none did.
    int systemError() const noexcept { return systemError_; }

  private:
    int extendedCode_;
    int systemError_;
};

class Statement;

/// One connection, with the settings that every database of ours has: a bounded wait on locks, no
/// links followed, defensive mode, an untrusted schema, checked cells, a short log, extended codes.
/// It and its statements belong to one thread at a time: SQLite takes no lock of its own for each
/// call.
class Database {
  public:
    /// `flags`: SQLITE_OPEN_... ; throws SqliteError.
    Database(const std::string& path, int flags, std::chrono::milliseconds busyTimeout);

    /// The database `name` in the open folder, and the files that SQLite keeps beside it, wherever
    /// the folder's path leads by now: what was checked of the folder holds for what is opened.
    static Database openIn(int folder, const std::string& name, int flags,
                           std::chrono::milliseconds busyTimeout);

    /// An empty database in memory.
    static Database inMemory();

    /// A database over the bytes of a database file, for reading. The bytes must outlive it.
    static Database overImage(std::string_view image);

    /// A database that begins with the bytes of a database file and changes them where they are. It
    /// grows into what is spare there, and no further: SQLITE_FULL. The memory must outlive it and
    /// belongs to it alone.
    static Database withinImage(PageMemory& image);

    /// Hands over the bytes of the database file that holds what this database holds.
    void useImage(const std::function<void(std::string_view)>& use) const;

    sqlite3* get() const noexcept { return handle_.get(); }

    /// Makes the file smaller where more than a third of its pages are free; it would keep them for
    /// ever. Not within a transaction.
    void compact();

    /// Runs one or more statements that need no values and give no rows.
    void execute(const char* sql);

    /// The 32-bit number that a pragma such as "user_version" answers.
    std::int64_t pragmaNumber(const char* name);

  private:
    Database(FileDescriptor folder, const std::string& path, const char* fileLayer, int flags,
             std::chrono::milliseconds busyTimeout);

    struct Close {
        void operator()(sqlite3* handle) const noexcept { sqlite3_close_v2(handle); }
    };
    FileDescriptor folder_;                  ///< of openIn(); open as long as the handle
    std::unique_ptr<int> busyMilliseconds_;  ///< where SQLite finds it, wherever this object goes
    std::unique_ptr<sqlite3, Close> handle_;
};

/// A prepared statement; parameters count from 1, columns from 0.
class Statement {
  public:
    Statement(const Database& database, std::string_view sql);

    /// The text is not copied: it must live until the next reset or the end.
    Statement& bind(int parameter, std::string_view text);
    Statement& bind(int parameter, std::int64_t number);
    /// As a BLOB, and not copied either.
    Statement& bindBytes(int parameter, std::string_view bytes);

    /// True while there is a row. Throws SqliteError.
    bool step();
    /// Runs a statement that gives no rows, and makes it ready for the next run.
    void run();
    void reset() noexcept { sqlite3_reset(handle_.get()); }

    /// Valid until the next step; empty for NULL.
    std::string_view text(int column) const;
    std::int64_t number(int column) const { return sqlite3_column_int64(handle_.get(), column); }
    bool isNull(int column) const {
        return sqlite3_column_type(handle_.get(), column) == SQLITE_NULL;
    }

  private:
    void check(int code) const;

    struct Finalize {
        void operator()(sqlite3_stmt* handle) const noexcept { sqlite3_finalize(handle); }
    };
    std::unique_ptr<sqlite3_stmt, Finalize> handle_;
};

/// A transaction that rolls back unless it was committed.
class Transaction {
  public:
    enum class Kind { read, write };

    Transaction(Database& database, Kind kind);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit();

  private:
    Database& database_;
    bool open_ = true;
};

}  // namespace tavik
