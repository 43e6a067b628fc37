#include "platform/core/disk/StoreFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "platform/core/disk/Folders.h"
#include "platform/core/disk/SafeFolder.h"
#include "platform/core/disk/TrustedPath.h"
#include "platform/core/status/Status.h"

namespace tavik {
namespace {

constexpr mode_t kFolderMode = 0755;
// Only the user may enter the own store, so the files below can have any mode.
constexpr mode_t kUserRootMode = 0700;

mode_t rootModeOf(const StoreLocation& location) {
    return location.scope == Scope::user ? kUserRootMode : kFolderMode;
}

std::string folderAbove(const StoreLocation& location) {
    return std::filesystem::path(location.root).parent_path();
}

/// The name of the store's folder in the one above it.
std::string nameOf(const StoreLocation& location) {
    const std::string name = std::filesystem::path(location.root).filename();
    return name.empty() ? "." : name;
}

/// A failure names the store: a folder on the way to it would not say which store cannot be used.
FileDescriptor openWayTo(const StoreLocation& location) {
    try {
        return openTrustedWay(folderAbove(location), Missing::isReported);
    } catch (const Error& error) {
        throw Error(error.status(), location.familyFolder(), error.what());
    }
}

/// Opens the store; invalid where it is missing. Root must not be led elsewhere by another user, as
/// with that user's HOME. An ordinary user may have the store below anything.
FileDescriptor openRoot(const StoreLocation& location) {
    if (::geteuid() != 0)
        return openSafeFolder(location.root);
    // What is not there cannot mislead, whoever owns the way to it.
    if (::access(location.root.c_str(), F_OK) != 0 && errno == ENOENT)
        return {};
    const FileDescriptor above = openWayTo(location);
    return above ? openSafeFolder(above.get(), nameOf(location), location.root) : FileDescriptor();
}

/// Runs `work`, and lets it say which variable has led to an unsafe folder.
template <class Work>
auto namingVariable(const StoreLocation& location, Work work) {
    try {
        return work();
    } catch (const Error& error) {
        if (error.status() != static_cast<int>(Status::storeUnsafe) || location.variable.empty())
            throw;
        fail(Status::storeUnsafe, error.subject(),
             error.detail() + "; " + location.variable + " leads there");
    }
}

FileDescriptor makeFolder(int parent, const std::string& name, const std::string& path,
                          mode_t mode) {
    if (auto folder = openSafeFolder(parent, name, path))
        return folder;
    makeFolderIn(parent, name, path, mode);
    FileDescriptor folder = openSafeFolder(parent, name, path);
    if (!folder)
        failErrno(ENOENT, path, "open the folder");
    return folder;
}

}  // namespace

StoreFolder::StoreFolder(StoreLocation location, FileDescriptor descriptor)
    : location_(std::move(location)),
      path_(realPath(location_.familyFolder())),
      descriptor_(std::move(descriptor)) {
    location_.root = path_.substr(0, path_.rfind('/'));
}

std::optional<StoreFolder> StoreFolder::open(const StoreLocation& location) {
    return namingVariable(location, [&]() -> std::optional<StoreFolder> {
        const FileDescriptor root = openRoot(location);
        if (!root)
            return std::nullopt;
        FileDescriptor family =
            openSafeFolder(root.get(), location.family, location.familyFolder());
        if (!family)
            return std::nullopt;
        return StoreFolder(location, std::move(family));
    });
}

StoreFolder StoreFolder::create(const StoreLocation& location) {
    if (auto folder = open(location))
        return *std::move(folder);
    return namingVariable(location, [&] {
        const std::string path = folderAbove(location);
        const FileDescriptor above = ::geteuid() == 0 ? openTrustedWay(path, Missing::isMade)
                                                      : makeFolders(path, rootModeOf(location));
        const FileDescriptor root =
            makeFolder(above.get(), nameOf(location), location.root, rootModeOf(location));
        return StoreFolder(location, makeFolder(root.get(), location.family,
                                                location.familyFolder(), kFolderMode));
    });
}

FileDescriptor StoreFolder::subfolder(const std::string& name) const {
    return makeFolder(descriptor(), name, path() + "/" + name, kFolderMode);
}

FileDescriptor StoreFolder::existingSubfolder(const std::string& name) const {
    return openSafeFolder(descriptor(), name, path() + "/" + name);
}

}  // namespace tavik
