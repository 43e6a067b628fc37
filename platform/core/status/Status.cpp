#include "platform/core/status/Status.h"

#include <cerrno>

#include "platform/support/FileDescriptor.h"

namespace tavik {

bool isUnusableStore(const Error& error) noexcept {
    switch (static_cast<Status>(error.status())) {
        case Status::storeUnsafe:
        case Status::storeNewer:
        case Status::storeDamaged:
        case Status::noPermission:
            return true;
        default:
            return false;
    }
}

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
