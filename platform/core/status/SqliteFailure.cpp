#include "platform/core/status/SqliteFailure.h"

#include "platform/core/status/Status.h"
#include "platform/support/FileDescriptor.h"

namespace tavik {
namespace {

Status statusOf(const SqliteError& error) {
    if (isDamage(error))
        return Status::storeDamaged;
    if (error.extendedCode() == SQLITE_CANTOPEN_SYMLINK)
        return Status::storeUnsafe;
    if (error.systemError() != 0)
        return statusOfErrno(error.systemError());
    if (error.extendedCode() == SQLITE_IOERR_SHMSIZE)  // the log's index has no room to grow
        return Status::diskFull;
    switch (error.code()) {
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
        case SQLITE_PROTOCOL:  // the log's index was locked by others all the time
            return Status::storeBusy;
        case SQLITE_FULL:
            return Status::diskFull;
        case SQLITE_READONLY:
        case SQLITE_PERM:
        case SQLITE_AUTH:
            return Status::noPermission;
        case SQLITE_NOMEM:
            return Status::outOfMemory;
        default:
            return Status::inputOutput;
    }
}

}  // namespace

bool isDamage(const SqliteError& error) noexcept {
    switch (error.code()) {
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
        case SQLITE_CONSTRAINT:
        case SQLITE_ERROR:  // a statement that the schema does not fit
            return true;
        default:
            return false;
    }
}

void failSqlite(const SqliteError& error, const std::string& path) {
    const std::string cause = error.systemError() == 0 ? "" : ": " + errnoText(error.systemError());
    fail(statusOf(error), path, error.what() + cause);
}

}  // namespace tavik
