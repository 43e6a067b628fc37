#include "registry/LaunchCheck.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace {

/// The registry's text, fit for one line of a terminal.
std::string shown(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return text;
}

/// Whether nobody but root can change what stands at `path`. In a folder such as /tmp, whose sticky
/// bit is set, everybody may add names, and only root may change those of root.
bool isRootsAlone(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0 || info.st_uid != 0)
        return false;
    const bool isSticky = S_ISDIR(info.st_mode) && (info.st_mode & S_ISVTX) != 0;
    return isSticky || (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

/// Whether others may add names to the folder.
bool isOpenToOthers(const std::string& folder) {
    struct stat info {};
    return ::stat(folder.c_str(), &info) == 0 && (info.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

/// In a sticky folder anybody can make a hard link to a file or link of root's, and so choose which
/// one of root's a name stands for. Folders have no hard links.
bool mayBeOthersHardLink(const std::string& path) {
    struct stat info {};
    const std::string folder = path.substr(0, std::max(path.rfind('/'), std::size_t{1}));
    return ::lstat(path.c_str(), &info) == 0 && !S_ISDIR(info.st_mode) && isOpenToOthers(folder);
}

/// The first of the path and the folders above it that `isBad`; empty where none is.
template <class IsBad>
std::string firstOnTheWay(const std::string& path, IsBad isBad) {
    for (std::size_t end = 0; end != std::string::npos;) {
        end = path.find('/', end + 1);
        std::string part = path.substr(0, end);
        if (isBad(part))
            return part;
    }
    return "";
}

/// What others can change of the way to the program; empty where they cannot. `named`: as the
/// registry has it, with its links; `real`: without.
std::string othersMayChange(const std::string& named, const std::string& real) {
    if (!isRootsAlone("/"))
        return "/";
    std::string part = firstOnTheWay(named, mayBeOthersHardLink);
    if (part.empty())
        part = firstOnTheWay(real, [](const std::string& each) {
            return !isRootsAlone(each) || mayBeOthersHardLink(each);
        });
    return part;
}

}  // namespace

LaunchCheck checkLaunch(const std::string& path) {
    if (path.empty() || path.front() != '/')
        return {"", shown(path) +
                        ": not started: it is no absolute path; correct \"Path\" in the "
                        "application registry"};
    if (::geteuid() != 0)
        return {path, ""};
    const std::unique_ptr<char, void (*)(void*)> real(::realpath(path.c_str(), nullptr),
                                                      &std::free);
    if (!real)
        return {};  // It is not there.
    const std::string changeable = othersMayChange(path, real.get());
    if (changeable.empty())
        return {real.get(), ""};
    return {"", shown(path) + ": not started as root: others than root can change " +
                    shown(changeable) + "; start it as an ordinary user, or give that to root"};
}
