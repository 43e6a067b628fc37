#pragma once

#include <string>

#include "platform/support/Sqlite.h"

namespace tavik {

/// Throws what a failed SQLite call on the database at `path` means to the core.
[[noreturn]] void failSqlite(const SqliteError& error, const std::string& path);

/// Whether the file is no sound database of ours.
bool isDamage(const SqliteError& error) noexcept;

}  // namespace tavik
