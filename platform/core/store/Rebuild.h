#pragma once

#include <cstddef>
#include <string>
#include <unordered_set>
#include <vector>

#include "platform/core/disk/StoreFolder.h"

namespace tavik {

class ExtensionTable;

// Makes a table agree with the folders below `ext/`. `names`: all names in that folder.
//
// A folder without a row is adopted: its row is made from `extension.json` and the list of files
// beside it, which knows the signer. An id that has a row already takes the folder where the row's
// own is missing or holds an older version; it keeps its state.

/// Removes the rows whose folder is missing. For a table that is older than the folders are.
void removeRowsWithoutFolder(ExtensionTable& table, const std::vector<std::string>& names);

/// Whether a folder is adopted although files of it are lost.
enum class LostFiles { refused, accepted };

/// Adopts what it can of the folders that no row names, in the open folder `content`. Gives the
/// number of those that were adopted.
std::size_t adoptFolders(ExtensionTable& table, int content, const std::vector<std::string>& names,
                         LostFiles lost = LostFiles::refused);

/// For a store of all users whose states no mask remembers: gives each extension the state that its
/// links show. Returns the ids of those that neither their links nor the version before know; they
/// stay enabled. `knownKeys`: the keys of the ids in the version before.
std::vector<std::string> takeStatesFromLinks(ExtensionTable& table, const StoreFolder& store,
                                             const std::unordered_set<std::string>& knownKeys);

}  // namespace tavik
