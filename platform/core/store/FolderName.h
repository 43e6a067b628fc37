#pragma once

#include <string>
#include <string_view>

namespace tavik {

/// A name for a new folder of the extension below `ext/`, different each time: the id's first 200
/// bytes, "@" and 16 hexadecimal digits.
std::string newFolderName(const std::string& id);

/// Whether it is such a name: one path component, whatever else a damaged row may hold.
bool isFolderName(std::string_view name) noexcept;

/// Whether such a name is one for that id.
bool isFolderNameOf(std::string_view name, std::string_view id) noexcept;

/// The name of the list of files that lies beside the folder; see FileList.
std::string fileListOf(const std::string& folder);

}  // namespace tavik
