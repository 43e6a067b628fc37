#pragma once

#include <string>
#include <vector>

#include "platform/core/disk/StoreFolder.h"
#include "platform/core/store/ExtensionRow.h"

namespace tavik {

/// What stood beside the database in its earlier form.
inline constexpr const char* kEarlierCompanions[] = {"store.db-wal", "store.db-shm",
                                                     "store.db-journal"};

/// What a database of the earlier form holds, its log included.
struct EarlierStore {
    std::vector<ExtensionRow> rows;
    std::string linkedProducts;
};

/// Reads a database that was changed in place, with a write-ahead log or a rollback journal. SQLite
/// replays it in a copy of the files below the system's temporary folder, so that nothing in the
/// store is locked, made or changed. Throws Status::storeDamaged where it is not whole.
EarlierStore readEarlierForm(const StoreFolder& folder);

}  // namespace tavik
