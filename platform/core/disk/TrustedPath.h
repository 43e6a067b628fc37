#pragma once

#include <string>

#include "platform/support/FileDescriptor.h"

namespace tavik {

/// What becomes of a folder that does not exist.
enum class Missing { isMade, isReported };

/// Opens the folder at the absolute `path` for reading, after a walk from "/" that no other user
/// can redirect; the source has the steps. With Missing::isMade, missing folders are made with mode
/// 0755; otherwise an invalid descriptor stands for a missing one. Throws Status::storeUnsafe
/// naming the folder on the way that is not trusted, and errno failures.
FileDescriptor openTrustedFolder(const std::string& path, Missing missing);

/// The same below an open folder that is trusted already: `start` is its descriptor, `startPath`
/// its path for failures.
FileDescriptor openTrustedFolder(int start, const std::string& startPath,
                                 const std::string& relativePath, Missing missing);

/// The same for a folder in which the caller looks at each entry itself before it uses it, and
/// follows no link: the walk may also end in one such as /tmp.
FileDescriptor openTrustedWay(const std::string& path, Missing missing);

}  // namespace tavik
