#pragma once

#include <optional>
#include <string>

#include "platform/core/disk/RegularFile.h"

namespace tavik::qpk {

/// The bytes of a regular file; nothing where there is none of that name. Of one that is longer,
/// `limit + 1` bytes come back, so that the caller can tell. Throws Error about the path.
std::optional<std::string> readWhole(const std::string& path, std::size_t limit, FinalLink link);

/// Throws the failure for an errno value: a missing file or folder is the author's mistake
/// (Failure), anything else an Error of the system.
[[noreturn]] void failSystem(int error, const std::string& path, const std::string& action);

}  // namespace tavik::qpk
