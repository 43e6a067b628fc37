#pragma once

#include <norva_vell.h>

#include <string>

#include "platform/support/Error.h"
#include "platform/support/Sqlite.h"

namespace tavik::vell {

/// A failure with one of the VELL_STATUS_... numbers.
using Failure = Error;

/// What a failed SQLite call on the database at `path` means, with what to do about it.
Failure describe(const SqliteError& error, const std::string& path);

/// Where there is no such file.
Failure noDatabase(const std::string& path);

/// A file that is there but cannot be used as an installer database.
Failure damaged(const std::string& path, const std::string& cause);

/// A file that another user may change. `cause` says how, and what to do.
Failure untrusted(const std::string& path, const std::string& cause);

/// The database holds no such thing.
Failure notFound(const std::string& what);

/// Writes the failure to standard error as one line, once in a process for each database and
/// status: a walk over a damaged database fails in the same way at every step. Writes nothing for a
/// missing database, a missing entry and invalid arguments.
void explain(const Failure& failure) noexcept;

}  // namespace tavik::vell
