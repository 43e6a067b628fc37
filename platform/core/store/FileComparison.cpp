#include "platform/core/store/FileComparison.h"

#include <fcntl.h>
#include <libdeflate.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <unordered_map>

#include "platform/core/disk/Folders.h"
#include "platform/core/disk/RegularFile.h"
#include "platform/core/status/Status.h"
#include "platform/support/FileDescriptor.h"

namespace tavik {
namespace {

bool hasContent(int file, const InstalledFile& installed, int folder) try {
    std::vector<char> piece(std::size_t{1} << 20);
    std::uint32_t crc = 0;
    std::uint64_t size = 0;
    while (const std::size_t count = readOnce(file, piece.data(), piece.size())) {
        crc = libdeflate_crc32(crc, piece.data(), count);
        size += count;
    }
    return size == installed.size && crc == installed.crc;
} catch (const std::system_error& error) {
    failErrno(error.code().value(), pathOf(folder) + "/" + installed.path, "read the file");
}

using FilesByPath = std::unordered_map<std::string, InstalledFile>;

FilesByPath filesOf(const Package& package) {
    FilesByPath files;
    for (const auto& entry : package.archive().entries())
        if (!entry.isFolder())
            files[entry.path] = {entry.path, entry.size, entry.crc, entry.isExecutable()};
    return files;
}

/// Adds what is in the folder at the path `above`, which is empty for `top` itself.
void findFiles(int top, const std::string& above, std::vector<std::string>& found) {
    const FileDescriptor folder(::openat(top, above.empty() ? "." : above.c_str(),
                                         O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder)
        failErrno(errno, pathOf(top) + "/" + above, "open the folder");
    for (const auto& name : namesIn(folder.get())) {
        const std::string path = above.empty() ? name : above + "/" + name;
        struct stat info {};
        if (::fstatat(folder.get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0)
            failErrno(errno, pathOf(top) + "/" + path, "look at the file");
        if (S_ISDIR(info.st_mode))
            findFiles(top, path, found);
        else
            found.push_back(path);
    }
}

}  // namespace

FileDifference differenceOf(int folder, const InstalledFile& installed) {
    const RegularFile file = openRegularFile(folder, installed.path, FinalLink::refused);
    // A file in the place of a folder on the way leaves no file at this path either.
    if (file.error == ENOENT || file.error == ENOTDIR)
        return FileDifference::missing;
    // A file that cannot be read now may be sound: nothing may be replaced on its account.
    if (file.error != 0)
        failErrno(file.error, pathOf(folder) + "/" + installed.path, "open the file");
    if (!file || static_cast<std::uint64_t>(file.info.st_size) != installed.size ||
        !hasContent(file.descriptor.get(), installed, folder))
        return FileDifference::content;
    const bool isExecutable = (file.info.st_mode & S_IXUSR) != 0;
    return isExecutable == installed.isExecutable ? FileDifference::none : FileDifference::rights;
}

std::vector<std::string> filesIn(int folder) {
    std::vector<std::string> found;
    findFiles(folder, "", found);
    std::sort(found.begin(), found.end());
    return found;
}

std::vector<std::string> filesBeside(const Package& package, int folder) {
    const FilesByPath files = filesOf(package);
    std::vector<std::string> found;
    for (auto& path : filesIn(folder)) {
        const auto known = files.find(path);
        if (known == files.end() || differenceOf(folder, known->second) == FileDifference::content)
            found.push_back(std::move(path));
    }
    return found;
}

}  // namespace tavik
