#include "platform/core/store/FolderName.h"

#include <algorithm>

#include "platform/core/disk/Stamp.h"
#include "platform/core/package/Manifest.h"
#include "platform/support/Text.h"

namespace tavik {
namespace {

// Room for "@", the token, ".files" and a file system's 255 bytes.
constexpr std::size_t kMaxIdBytesInName = 200;
constexpr std::size_t kTokenBytes = 16;
constexpr std::string_view kFileListEnding = ".files";

bool isTokenDigit(char c) noexcept {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
}

}  // namespace

std::string newFolderName(const std::string& id) {
    return id.substr(0, kMaxIdBytesInName) + "@" + newToken();
}

bool isFolderName(std::string_view name) noexcept {
    const auto at = name.rfind('@');
    if (at == std::string_view::npos || name.size() - at - 1 != kTokenBytes)
        return false;
    // A long id was cut, so it may end where no id may: then it is an id without its last byte.
    const std::string_view id = name.substr(0, at);
    const bool isId = id.size() == kMaxIdBytesInName
                          ? isExtensionId(id) || isExtensionId(id.substr(0, id.size() - 1))
                          : isExtensionId(id);
    return isId && std::all_of(name.begin() + static_cast<std::ptrdiff_t>(at) + 1, name.end(),
                               isTokenDigit);
}

bool isFolderNameOf(std::string_view name, std::string_view id) noexcept {
    return isFolderName(name) && name.substr(0, name.rfind('@')) == id.substr(0, kMaxIdBytesInName);
}

std::string fileListOf(const std::string& folder) {
    return folder + std::string(kFileListEnding);
}

std::string_view folderOfList(std::string_view name) noexcept {
    return name.substr(0, name.size() - kFileListEnding.size());
}

bool isFileList(std::string_view name) noexcept {
    return name.size() > kFileListEnding.size() && endsWith(name, kFileListEnding);
}

}  // namespace tavik
