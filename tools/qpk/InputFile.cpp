#include "tools/qpk/InputFile.h"

#include <cerrno>
#include <system_error>

#include "platform/core/status/Status.h"
#include "platform/support/FileDescriptor.h"
#include "tools/qpk/Failure.h"

namespace tavik::qpk {

std::optional<std::string> readWhole(const std::string& path, std::size_t limit, FinalLink link) {
    const RegularFile file = openRegularFile(path, link);
    if (file.error == ENOENT)
        return std::nullopt;
    if (file.error != 0)
        failSystem(file.error, path, "open the file");
    if (!file)
        fail(Status::inputOutput, path, file.cause());
    try {
        return readUpTo(file.descriptor.get(), limit);
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
