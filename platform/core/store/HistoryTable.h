#pragma once

#include <string>
#include <vector>

#include "platform/core/store/History.h"
#include "platform/support/Sqlite.h"

namespace tavik {

/// The history in a store's database. Every list reads the whole file, so only the newest lines are
/// rows; the older ones are packed in blocks, each 256 lines in about 4 KB.
///
/// A block (`historyBlock`) is a JSON array with one array for each line, in the order of the
/// columns of `history`, compressed in the zlib format; `size` has its bytes before that. It is
/// written by the change that adds a line too many. A database without the table `historyBlock` has
/// all lines as rows: they are packed by the next change.

/// Adds the line, and forgets blocks that are older than the newest kMaxHistoryLines. Throws
/// SqliteError.
void addHistoryLine(Database& database, const HistoryLine& line);

/// All lines, the oldest first. Throws Status::storeDamaged about `path` for a block that does not
/// unpack, and SqliteError.
std::vector<HistoryLine> readHistoryLines(const Database& database, const std::string& path);

}  // namespace tavik
