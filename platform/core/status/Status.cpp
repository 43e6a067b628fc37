#include "platform/core/status/Status.h"

#include <cerrno>

#include "platform/support/FileDescriptor.h"

namespace tavik {

Status statusOfErrno(int error) noexcept {
    switch (error) {
        case ENOSPC:
        case EDQUOT:
            return Status::diskFull;
        case EROFS:
            return Status::readOnlyDisk;
        case EACCES:
        case EPERM:
            return Status::noPermission;
        case ENOMEM:
            return Status::outOfMemory;
        default:
            return Status::inputOutput;
    }
}

void failErrno(int error, const std::string& subject, const std::string& action) {
    fail(statusOfErrno(error), subject, action + ": " + errnoText(error));
}

}  // namespace tavik
