#include "tools/qpk/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

#include "platform/core/status/Status.h"
#include "platform/support/FileDescriptor.h"
#include "tools/qpk/Failure.h"

namespace tavik::qpk {

std::optional<std::string> readWhole(const std::string& path, std::size_t limit, Links links) {
    // Without O_NONBLOCK a pipe without a writer would hold us up before it can be told apart.
    const int flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const FileDescriptor file(
        ::open(path.c_str(), links == Links::follow ? flags : flags | O_NOFOLLOW));
    if (!file && errno == ENOENT)
        return std::nullopt;
    struct stat info {};
    if (!file || ::fstat(file.get(), &info) != 0)
        failSystem(errno, path, "open the file");
    if (!S_ISREG(info.st_mode))
        fail(Status::inputOutput, path, "it is no regular file");
    try {
        return readUpTo(file.get(), limit);
    } catch (const std::system_error& error) {
        failErrno(error.code().value(), path, "read the file");
    }
}

void failSystem(int error, const std::string& path, const std::string& action) {
    if (error == ENOENT || error == ENOTDIR)
        throw Failure(path, errnoText(error), "check the path");
    failErrno(error, path, action);
}

}  // namespace tavik::qpk
