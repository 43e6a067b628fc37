#include "platform/core/store/FileComparison.h"

#include <fcntl.h>
#include <libdeflate.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <unordered_map>

#include "platform/core/disk/Folders.h"
#include "platform/core/disk/RegularFile.h"
#include "platform/core/status/Status.h"
#include "platform/support/FileDescriptor.h"

namespace tavik {
namespace {

bool hasContent(int file, const InstalledFile& installed) {
    std::vector<char> piece(std::size_t{1} << 20);
    std::uint32_t crc = 0;
    std::uint64_t size = 0;
    for (ssize_t count = 0; (count = ::read(file, piece.data(), piece.size())) > 0;) {
        crc = libdeflate_crc32(crc, piece.data(), static_cast<std::size_t>(count));
        size += static_cast<std::uint64_t>(count);
    }
    return size == installed.size && crc == installed.crc;
}

using FilesByPath = std::unordered_map<std::string, InstalledFile>;

FilesByPath filesOf(const Package& package) {
    FilesByPath files;
    for (const auto& entry : package.archive().entries())
        if (!entry.isFolder())
            files[entry.path] = {entry.path, entry.size, entry.crc, entry.isExecutable()};
    return files;
}

/// Adds those below the folder `above`, which is empty or ends in "/".
void findBeside(const FilesByPath& files, int top, const std::string& above,
                std::vector<std::string>& found) {
    const FileDescriptor folder(::openat(top, above.empty() ? "." : above.c_str(),
                                         O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder)
        failErrno(errno, above, "open the folder");
    for (const auto& name : namesIn(folder.get())) {
        const std::string path = above + name;
        struct stat info {};
        if (::fstatat(folder.get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0)
            failErrno(errno, path, "look at the file");
        if (S_ISDIR(info.st_mode)) {
            findBeside(files, top, path + "/", found);
            continue;
        }
        const auto known = files.find(path);
        const auto difference =
            known == files.end() ? FileDifference::content : differenceOf(top, known->second);
        if (difference == FileDifference::content)
            found.push_back(path);
    }
}

}  // namespace

FileDifference differenceOf(int folder, const InstalledFile& installed) {
    const RegularFile file = openRegularFile(folder, installed.path, FinalLink::refused);
    if (file.error == ENOENT)
        return FileDifference::missing;
    if (!file || static_cast<std::uint64_t>(file.info.st_size) != installed.size ||
        !hasContent(file.descriptor.get(), installed))
        return FileDifference::content;
    const bool isExecutable = (file.info.st_mode & S_IXUSR) != 0;
    return isExecutable == installed.isExecutable ? FileDifference::none : FileDifference::rights;
}

std::vector<std::string> filesBeside(const Package& package, int folder) {
    std::vector<std::string> found;
    findBeside(filesOf(package), folder, "", found);
    return found;
}

}  // namespace tavik
