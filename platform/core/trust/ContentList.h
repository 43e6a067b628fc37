#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tavik {

/// What a signed package's author vouches for of one entry.
struct ListedEntry {
    std::string path;  ///< with a slash behind a folder's
    std::uint64_t size = 0;
    std::string sha256;  ///< 64 lower-case hexadecimal digits
    bool isExecutable = false;
};

/// The path under which the list has an entry of the archive.
std::string listedPath(std::string_view path, bool isFolder);

/// The list's JSON text; `entries` in the order in which they are to stand in it.
std::string writeContentList(const std::vector<ListedEntry>& entries);

/// Reads a list, `limit` bytes at the most. Unknown members are refused: they might restrict what
/// the signature means. Throws JsonError.
std::vector<ListedEntry> parseContentList(std::string_view json, std::size_t limit);

}  // namespace tavik
