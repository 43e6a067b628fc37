#pragma once

#include <string>

#include "platform/support/Sqlite.h"

namespace tavik::vell {

/// The path of the database that is currently in use: see norva_vell.h for the rule.
std::string databasePath();

enum class Access {
    read,
    write,
    create  ///< to write, making the file, its folders and its tables where they are missing
};

/// Opens the database and checks that nobody else may write to it, that it is one of ours and that
/// its version is not newer than this program's. Throws Failure.
/// With Access::create a new file has no tables yet: see createTables.
Database open(const std::string& path, Access access);

/// Makes the tables in a file that has none, within the caller's transaction.
void createTables(Database& database);

/// What has a modification time of its own.
enum class Part { pcd, vell };

/// Seconds since 1970; 0 where the part was never written.
std::int64_t modificationTime(const Database& database, Part part);

/// Sets the part's modification time to now, or to a second after the last one if that is later.
void touch(const Database& database, Part part);

}  // namespace tavik::vell
