#include "platform/core/disk/LinkFolder.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/core/disk/Folders.h"
#include "platform/core/status/Status.h"

namespace tavik {
namespace {

std::string temporaryNameOf(const std::string& name) {
    return "." + name.substr(0, NAME_MAX - 8) + ".new";
}

/// What stands under a name.
struct Entry {
    enum class Kind { nothing, link, somethingElse };
    Kind kind;
    std::string target;  ///< a link's text
};

Entry lookAt(int folder, const std::string& name, const std::string& path) {
    std::array<char, PATH_MAX> text{};
    const ssize_t size = ::readlinkat(folder, name.c_str(), text.data(), text.size());
    if (size >= 0)
        return {Entry::Kind::link, std::string(text.data(), static_cast<std::size_t>(size))};
    if (errno == ENOENT)
        return {Entry::Kind::nothing, {}};
    if (errno == EINVAL)
        return {Entry::Kind::somethingElse, {}};
    failErrno(errno, path + "/" + name, "read the link");
}

FileDescriptor openToLook(const std::string& path, Closed closed) {
    FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder && errno != ENOENT && errno != ENOTDIR && errno != ELOOP &&
        (errno != EACCES || closed == Closed::isFailure))
        failErrno(errno, path, "open the folder");
    return folder;
}

}  // namespace

std::optional<LinkFolder> LinkFolder::open(const StoreFolder& store, const std::string& path,
                                           Missing missing, LinkFilter ours) {
    const std::string below = store.path() + "/";
    FileDescriptor descriptor = path.compare(0, below.size(), below) == 0
                                    ? openTrustedFolder(store.descriptor(), store.path(),
                                                        path.substr(below.size()), missing)
                                    : openTrustedFolder(path, missing);
    if (!descriptor)
        return std::nullopt;
    return LinkFolder(path, std::move(descriptor), std::move(ours));
}

std::vector<std::string> LinkFolder::namesAt(const std::string& path, Closed closed) {
    const FileDescriptor folder = openToLook(path, closed);
    if (!folder)
        return {};
    auto names = namesIn(folder.get());
    std::sort(names.begin(), names.end());
    return names;
}

LinkFolder::Targets LinkFolder::targetsAt(const std::string& path, Closed closed) {
    const FileDescriptor folder = openToLook(path, closed);
    Targets targets;
    if (!folder)
        return targets;
    for (auto& name : namesIn(folder.get()))
        if (Entry entry = lookAt(folder.get(), name, path); entry.kind == Entry::Kind::link)
            targets.emplace(std::move(name), std::move(entry.target));
    return targets;
}

std::string LinkFolder::targetAt(const std::string& path, const std::string& name, Closed closed) {
    const FileDescriptor folder = openToLook(path, closed);
    return folder ? lookAt(folder.get(), name, path).target : std::string();
}

void LinkFolder::requireRoomFor(const std::string& name) const {
    // As the effective user, since that is who will switch the link.
    if (::faccessat(descriptor_.get(), ".", W_OK | X_OK, AT_EACCESS) != 0)
        failErrno(errno, path_, "write to the product's extension folder");
    const Entry entry = lookAt(descriptor_.get(), name, path_);
    if (entry.kind == Entry::Kind::somethingElse)
        fail(Status::storeUnsafe, path_ + "/" + name,
             "something other than a link stands where the extension's link belongs");
    if (entry.kind == Entry::Kind::link && !ours_(name, entry.target))
        fail(Status::storeUnsafe, path_ + "/" + name,
             "a link to " + entry.target + " stands where the extension's link belongs");
}

void LinkFolder::point(const std::string& name, const std::string& target) {
    if (lookAt(descriptor_.get(), name, path_).target == target)
        return;
    // Only root and the current user may write here (see openTrustedFolder), so nobody else can put
    // anything under the name between this look and the rename.
    requireRoomFor(name);
    const std::string temporary = temporaryNameOf(name);
    ::unlinkat(descriptor_.get(), temporary.c_str(), 0);
    if (::symlinkat(target.c_str(), descriptor_.get(), temporary.c_str()) != 0 ||
        ::renameat(descriptor_.get(), temporary.c_str(), descriptor_.get(), name.c_str()) != 0)
        failErrno(errno, path_ + "/" + name, "switch the link");
    isChanged_ = true;
}

void LinkFolder::remove(const std::string& name) {
    const Entry entry = lookAt(descriptor_.get(), name, path_);
    if (entry.kind != Entry::Kind::link || !ours_(name, entry.target))
        return;
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
