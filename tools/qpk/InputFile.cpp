#include "tools/qpk/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

#include "platform/core/texts/Status.h"
#include "platform/support/FileDescriptor.h"

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
        failErrno(errno, path, "open the file");
    if (!S_ISREG(info.st_mode))
        fail(Status::inputOutput, path, "it is no regular file");
    try {
        return readUpTo(file.get(), limit);
    } catch (const std::system_error& error) {
        failErrno(error.code().value(), path, "read the file");
    }
}

}  // namespace tavik::qpk
