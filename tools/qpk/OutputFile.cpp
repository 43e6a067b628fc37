#include "tools/qpk/OutputFile.h"

#include <cerrno>
#include <filesystem>

#include "tools/qpk/Failure.h"

namespace tavik::qpk {
namespace {

namespace fs = std::filesystem;

/// The target of the links of `path`. Throws if no file can be put there.
std::string targetOf(const std::string& path, FinalLink link) {
    std::error_code error;
    const fs::file_status own = fs::symlink_status(path, error);
    if (!fs::exists(own)) {
        const fs::path folder = fs::path(path).parent_path();
        if (!folder.empty() && !fs::exists(folder, error))
            failSystem(error ? error.value() : ENOENT, path, "make the file");
        return path;
    }
    // In a folder that others can write to, a link may lead to any file of ours.
    if (fs::is_symlink(own) && link == FinalLink::refused)
        throw Failure(path, "it is a link", "remove it, or name the file that it leads to");
    std::string target = fs::canonical(path, error).string();
    if (error)
        failSystem(error.value(), path, "follow the link");
    // The rename would replace a device by a file.
    if (!fs::is_regular_file(target, error))
        throw Failure(path, "it is not a regular file", "choose another name");
    return target;
}

}  // namespace

OutputFile::OutputFile(const std::string& path, FinalLink link)
    : AtomicFile(path, targetOf(path, link)) {}

}  // namespace tavik::qpk
