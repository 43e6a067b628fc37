#pragma once

#include <string>

#include "platform/core/disk/StoreFolder.h"

namespace tavik {

/// The mark in `staging/` that says that a change was begun and is not finished. It is made before
/// anything that a crash could leave behind, and taken away when nothing is left to do.
///
/// The change that makes a store's first database makes a second mark before it. While that stands,
/// folders below `ext/` without a database are what the interrupted change left. Without it they
/// are installed extensions whose database is lost.

/// Whether the store has a mark. Throws errno failures: what cannot be looked at is not absent.
bool hasMark(const StoreFolder& store);
bool hasFirstMark(const StoreFolder& store);

enum class MarkKind { usual, first };

/// Sets the mark in the open `staging/`, and before it the second one for a first database.
void setMark(int staging, MarkKind kind);

/// Takes both away.
void removeMarks(int staging) noexcept;

/// Whether a name in `staging/` is that of a mark.
bool isMark(const std::string& name) noexcept;

}  // namespace tavik
