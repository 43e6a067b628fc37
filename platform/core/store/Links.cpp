#include "platform/core/store/Links.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>

#include "platform/core/store/Folders.h"
#include "platform/core/texts/Status.h"

namespace tavik {
namespace {

FileDescriptor openPlace(const std::string& folder) {
    FileDescriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!descriptor)
        failErrno(errno, folder, "open the product's extension folder");
    return descriptor;
}

std::optional<std::string> targetOf(int folder, const std::string& name) {
    std::array<char, PATH_MAX> target{};
    const ssize_t size = ::readlinkat(folder, name.c_str(), target.data(), target.size());
    if (size < 0)
        return std::nullopt;
    return std::string(target.data(), static_cast<std::size_t>(size));
}

bool leadsInto(const StoreFolder& store, const std::string& target) {
    const std::string content = store.path() + "/ext/";
    return target.compare(0, content.size(), content) == 0;
}

std::string temporaryNameOf(const LinkPlace& place) {
    return "." + place.name.substr(0, NAME_MAX - 8) + ".new";
}

void synchronise(int folder, const std::string& path) {
    if (::fsync(folder) != 0)
        failErrno(errno, path, "synchronise the folder");
}

}  // namespace

void prepareLink(const LinkPlace& place, const StoreLock&) {
    makeFolders(place.folder, 0755);
    const FileDescriptor folder = openPlace(place.folder);
    // As the effective user, since that is who will switch the link.
    if (::faccessat(folder.get(), ".", W_OK | X_OK, AT_EACCESS) != 0)
        failErrno(errno, place.folder, "write to the product's extension folder");
    struct stat info {};
    if (::fstatat(folder.get(), place.name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 &&
        !S_ISLNK(info.st_mode))
        fail(Status::storeUnsafe, place.folder + "/" + place.name,
             "something other than a link stands where the extension's link belongs");
}

void switchLink(const LinkPlace& place, const std::string& target, const StoreLock&) {
    const FileDescriptor folder = openPlace(place.folder);
    if (targetOf(folder.get(), place.name) == target)
        return;
    const std::string temporary = temporaryNameOf(place);
    ::unlinkat(folder.get(), temporary.c_str(), 0);
    if (::symlinkat(target.c_str(), folder.get(), temporary.c_str()) != 0 ||
        ::renameat(folder.get(), temporary.c_str(), folder.get(), place.name.c_str()) != 0)
        failErrno(errno, place.folder + "/" + place.name, "switch the link");
    synchronise(folder.get(), place.folder);
}

void removeLink(const LinkPlace& place, const StoreFolder& store, const StoreLock&) {
    const FileDescriptor folder(::open(place.folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder && (errno == ENOENT || errno == ENOTDIR))
        return;
    if (!folder)
        failErrno(errno, place.folder, "open the product's extension folder");
    const auto target = targetOf(folder.get(), place.name);
    if (!target || !leadsInto(store, *target))
        return;
    if (::unlinkat(folder.get(), place.name.c_str(), 0) != 0 && errno != ENOENT)
        failErrno(errno, place.folder + "/" + place.name, "remove the link");
    synchronise(folder.get(), place.folder);
}

std::vector<std::string> linksInto(const StoreFolder& store, const std::string& folder) {
    std::vector<std::string> names;
    const FileDescriptor open(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (auto& name : namesIn(open.get())) {
        const auto target = targetOf(open.get(), name);
        if (target && leadsInto(store, *target))
            names.push_back(std::move(name));
    }
    return names;
}

}  // namespace tavik
