#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/core/store/ExtensionRow.h"
#include "platform/support/Sqlite.h"

namespace tavik {

/// The rows that `columns` selects (kSelectExtensions or its earlier form), with their products:
/// the one of that key, or all in the order of their keys where `idKey` is empty. Throws
/// Status::storeDamaged about `path` for rows that no change of ours wrote, and SqliteError.
std::vector<ExtensionRow> readRows(const Database& database, std::string_view columns,
                                   const std::string& idKey, const std::string& path);

/// Throws Status::storeDamaged unless the id is one, the key is the id's, and the folder is one
/// component made for the id: a removal deletes what the row names.
void requireSoundRow(std::string_view idKey, std::string_view id, std::string_view folder,
                     const std::string& path);

}  // namespace tavik
