#include "platform/core/disk/SetAside.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>

#include "platform/core/disk/Folders.h"
#include "platform/core/disk/SafeFolder.h"
#include "platform/core/disk/Stamp.h"
#include "platform/core/disk/TreeRemoval.h"
#include "platform/core/status/Status.h"

namespace tavik {
namespace {

constexpr const char* kFolder = "set-aside";

/// timeNow() without the colons, which some file systems refuse in names.
std::string dateForName() {
    std::string date = timeNow();
    for (char& c : date)
        if (c == ':')
            c = '-';
    return date;
}

}  // namespace

SetAside::SetAside(const StoreFolder& store, std::string reason)
    : store_(store),
      reason_(std::move(reason)),
      name_(dateForName() + "." + reason_ + "." + newToken()),
      path_(store.path() + "/" + kFolder + "/" + name_) {}

int SetAside::descriptor() {
    if (!folder_) {
        const FileDescriptor all = store_.subfolder(kFolder);
        if (::mkdirat(all.get(), name_.c_str(), 0755) != 0)
            failErrno(errno, path_, "make the folder");
        folder_ = openSafeFolder(all.get(), name_, path_);
        if (!folder_)
            failErrno(ENOENT, path_, "open the folder");
    }
    return folder_.get();
}

bool SetAside::take(int folder, const std::string& name) {
    struct stat info {};
    if (::fstatat(folder, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno == ENOENT)
            return false;
        failErrno(errno, name, "look at it");
    }
    if (::renameat(folder, name.c_str(), descriptor(), name.c_str()) != 0)
        failErrno(errno, path_ + "/" + name, "set it aside");
    return true;
}

void SetAside::keepName(int folder, const std::string& path) {
    const int here = descriptor();
    for (auto end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1)) {
        const std::string above = path.substr(0, end);
        if (::mkdirat(here, above.c_str(), 0755) != 0 && errno != EEXIST)
            failErrno(errno, path_ + "/" + above, "make the folder");
    }
    if (::linkat(folder, path.c_str(), here, path.c_str(), 0) != 0)
        failErrno(errno, path_ + "/" + path, "set it aside");
}

void SetAside::keepCopy(const std::string& name, std::string_view bytes) {
    const FileDescriptor file(::openat(descriptor(), name.c_str(),
                                       O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (!file || !writeAll(file.get(), bytes))
        failErrno(errno, path_ + "/" + name, "set it aside");
}

std::vector<std::string> SetAside::namesOf(const StoreFolder& store) {
    const FileDescriptor all = store.existingSubfolder(kFolder);
    auto names = all ? namesIn(all.get()) : std::vector<std::string>();
    std::sort(names.begin(), names.end());
    return names;
}

void SetAside::clear(const StoreFolder& store, const std::string& reason) noexcept {
    try {
        const FileDescriptor all = store.existingSubfolder(kFolder);
        if (!all)
            return;
        for (const auto& name : namesIn(all.get()))
            if (name.find("." + reason + ".") != std::string::npos)
                removeTree(all.get(), name);
    } catch (const std::exception&) {
        // A failure only leaves the files on the disk; a later change tries again.
    }
}

}  // namespace tavik
