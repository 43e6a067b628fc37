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

/// The first of the file and the folders above it that others can change; empty where none is.
std::string othersMayChange(const std::string& file) {
    for (std::size_t end = 0; end != std::string::npos;) {
        end = file.find('/', end + 1);
        std::string part = file.substr(0, end);
        if (!isRootsAlone(part))
            return part;
    }
    return isRootsAlone("/") ? "" : "/";
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
    const std::string changeable = othersMayChange(real.get());
    if (changeable.empty())
        return {real.get(), ""};
    return {"", shown(path) + ": not started as root: others than root can change " +
                    shown(changeable) + "; start it as an ordinary user, or give that to root"};
}
