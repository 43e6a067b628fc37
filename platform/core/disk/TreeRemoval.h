#pragma once

#include <string>

namespace tavik {

/// Deletes `name` beneath the folder: a file, a link, or a folder with all that it holds. Links are
/// never followed. True if the name is gone, also if another process deleted it. Otherwise false:
/// all that can be deleted is deleted, and errno is that of the first failure.
bool removeTree(int folder, const std::string& name) noexcept;

}  // namespace tavik
