#pragma once

#include <string>

namespace tavik {

/// Deletes `name` beneath the folder: a file, a link, or a folder with all that it holds; links are
/// never followed. True when it is gone, whoever deleted it; false, with what could be deleted
/// deleted and errno saying what failed first, where something stays.
bool removeTree(int folder, const std::string& name) noexcept;

}  // namespace tavik
