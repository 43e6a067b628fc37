#include "platform/core/disk/LinkFolder.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/core/disk/Folders.h"
#include "platform/core/status/Status.h"

namespace tavik {
namespace {

constexpr mode_t kFolderMode = 0755;

std::string temporaryNameOf(const std::string& name) {
    return "." + name.substr(0, NAME_MAX - 8) + ".new";
}

}  // namespace

std::optional<LinkFolder> LinkFolder::open(const std::string& path) {
    FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (descriptor)
        return LinkFolder(path, std::move(descriptor));
    if (errno == ENOENT || errno == ENOTDIR)
        return std::nullopt;
    failErrno(errno, path, "open the product's extension folder");
}

LinkFolder LinkFolder::make(const std::string& path) {
    makeFolders(path, kFolderMode);
    auto folder = open(path);
    if (!folder)
        failErrno(ENOTDIR, path, "open the product's extension folder");
    return *std::move(folder);
}

void LinkFolder::requireRoomFor(const std::string& name) const {
    // As the effective user, since that is who will switch the link.
    if (::faccessat(descriptor_.get(), ".", W_OK | X_OK, AT_EACCESS) != 0)
        failErrno(errno, path_, "write to the product's extension folder");
    struct stat info {};
    if (::fstatat(descriptor_.get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 &&
        !S_ISLNK(info.st_mode))
        fail(Status::storeUnsafe, path_ + "/" + name,
             "something other than a link stands where the extension's link belongs");
}

std::optional<std::string> LinkFolder::target(const std::string& name) const {
    std::array<char, PATH_MAX> target{};
    const ssize_t size =
        ::readlinkat(descriptor_.get(), name.c_str(), target.data(), target.size());
    if (size < 0)
        return std::nullopt;
    return std::string(target.data(), static_cast<std::size_t>(size));
}

std::vector<std::string> LinkFolder::linksBelow(const std::string& prefix) const {
    std::vector<std::string> names;
    for (auto& name : namesIn(descriptor_.get())) {
        const auto where = target(name);
        if (where && where->compare(0, prefix.size(), prefix) == 0)
            names.push_back(std::move(name));
    }
    return names;
}

void LinkFolder::point(const std::string& name, const std::string& target) {
    if (this->target(name) == target)
        return;
    const std::string temporary = temporaryNameOf(name);
    ::unlinkat(descriptor_.get(), temporary.c_str(), 0);
    if (::symlinkat(target.c_str(), descriptor_.get(), temporary.c_str()) != 0 ||
        ::renameat(descriptor_.get(), temporary.c_str(), descriptor_.get(), name.c_str()) != 0)
        failErrno(errno, path_ + "/" + name, "switch the link");
    isChanged_ = true;
}

void LinkFolder::remove(const std::string& name) {
    if (::unlinkat(descriptor_.get(), name.c_str(), 0) != 0 && errno != ENOENT)
        failErrno(errno, path_ + "/" + name, "remove the link");
    isChanged_ = true;
}

void LinkFolder::synchronise() {
    if (isChanged_ && ::fsync(descriptor_.get()) != 0)
        failErrno(errno, path_, "synchronise the folder");
    isChanged_ = false;
}

}  // namespace tavik
