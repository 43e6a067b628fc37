#pragma once

#include <string>
#include <vector>

#include "platform/core/package/Package.h"
#include "platform/core/store/FileList.h"

namespace tavik {

enum class FileDifference { none, missing, content, rights };

/// How the file below the open folder differs from what was installed there. Anything but a regular
/// file differs in its content. Throws errno failures naming the file: what cannot be read is not
/// known to differ.
FileDifference differenceOf(int folder, const InstalledFile& installed);

/// All files below the open folder, links and the like included, sorted: paths with "/" between
/// their components. Throws errno failures.
std::vector<std::string> filesIn(int folder);

/// Those of them that the package does not have with the same content.
std::vector<std::string> filesBeside(const Package& package, int folder);

}  // namespace tavik
