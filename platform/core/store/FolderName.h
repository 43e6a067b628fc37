#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace tavik {

/// A name for a new folder of the extension below `ext/`, different each time: the id's first 200
/// bytes, "@" and 16 hexadecimal digits.
std::string newFolderName(const std::string& id);

/// Whether the text is such a name. A damaged row may hold any text.
bool isFolderName(std::string_view name) noexcept;

/// Whether such a name is one for that id.
bool isFolderNameOf(std::string_view name, std::string_view id) noexcept;

/// A digest of a set of folder names: their number, and the sum of their hashes. Equal sets have
/// equal digests, in whatever order the names come.
struct FolderDigest {
    std::size_t count = 0;
    std::size_t sum = 0;

    void add(std::string_view name) noexcept {
        ++count;
        sum += std::hash<std::string_view>()(name);
    }
    bool operator==(const FolderDigest& other) const noexcept {
        return count == other.count && sum == other.sum;
    }
};

/// The name of the list of files that lies beside the folder; see FileList.
std::string fileListOf(const std::string& folder);
bool isFileList(std::string_view name) noexcept;
/// The folder's name, from that of its list.
std::string_view folderOfList(std::string_view name) noexcept;

}  // namespace tavik
