#pragma once

#include <sys/stat.h>

namespace tavik {

// The rule about files and folders that decide what this program does: they belong to root or to
// the current user, and nobody else may write to them. `info` is what the system says of one.

/// Whether it belongs to root or to the current user.
bool isOurs(const struct stat& info) noexcept;

/// Whether its group or others may write to it. A link has no rights of its own, and answers yes.
bool othersMayWrite(const struct stat& info) noexcept;

/// Whether it is a folder like /tmp: others may write to it, but only owners rename and delete.
bool isSticky(const struct stat& info) noexcept;

// The two causes in an error's words.
inline constexpr const char* kBelongsToAnother = "it belongs to another user";
inline constexpr const char* kOthersMayWrite = "its group or others may write to it";

}  // namespace tavik
