#include "platform/vell/Failure.h"

#include <cstdio>
#include <mutex>
#include <set>

#include "platform/support/Text.h"

namespace tavik::vell {
namespace {

std::string subjectOf(const std::string& path) {
    return "installer database " + path;
}

int statusOf(const SqliteError& error) {
    switch (error.code()) {
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
        case SQLITE_ERROR:  // a table that is missing or of another form
            return VELL_STATUS_DAMAGED;
        case SQLITE_TOOBIG:
            return VELL_STATUS_TOO_LARGE;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return VELL_STATUS_BUSY;
        case SQLITE_PERM:
        case SQLITE_READONLY:
        case SQLITE_AUTH:
        case SQLITE_CANTOPEN:
            return VELL_STATUS_NO_PERMISSION;
        case SQLITE_NOMEM:
        case SQLITE_INTERNAL:
        case SQLITE_MISUSE:
            return VELL_STATUS_INTERNAL;
        default:
            return VELL_STATUS_INPUT_OUTPUT;
    }
}

std::string remedyFor(int status) {
    switch (status) {
        case VELL_STATUS_DAMAGED:
            return "; move it away and fill a new one with \"vellctl import\"";
        case VELL_STATUS_TOO_LARGE:
            return "; shorten the value";
        case VELL_STATUS_BUSY:
            return "; another program is using it, try again when that has ended";
        case VELL_STATUS_NO_PERMISSION:
            return "; ask its owner for access, or name another one in NORVA_VELL_DB";
        case VELL_STATUS_INPUT_OUTPUT:
            return "; see that its disk works and has space left";
        default:
            return "";
    }
}

bool isAnsweredByStatusAlone(int status) {
    return status == VELL_STATUS_NO_DATABASE || status == VELL_STATUS_NOT_FOUND ||
           status == VELL_STATUS_INVALID;
}

}  // namespace

Failure describe(const SqliteError& error, const std::string& path) {
    const int status = statusOf(error);
    return {status, subjectOf(path), error.what() + remedyFor(status)};
}

Failure noDatabase(const std::string& path) {
    return {VELL_STATUS_NO_DATABASE, subjectOf(path),
            "there is no such file; fill one with \"vellctl import\", or name another one in "
            "NORVA_VELL_DB"};
}

Failure damaged(const std::string& path, const std::string& cause) {
    return {VELL_STATUS_DAMAGED, subjectOf(path), cause + remedyFor(VELL_STATUS_DAMAGED)};
}

Failure untrusted(const std::string& path, const std::string& cause) {
    return {VELL_STATUS_UNTRUSTED, subjectOf(path), cause};
}

Failure notFound(const std::string& what) {
    return {VELL_STATUS_NOT_FOUND, what, "not found"};
}

void explain(const Failure& failure) noexcept try {
    static std::mutex mutex;
    static std::set<std::string> explained;
    if (isAnsweredByStatusAlone(failure.status()))
        return;
    const std::lock_guard lock(mutex);
    if (explained.insert(std::to_string(failure.status()) + failure.subject()).second)
        static_cast<void>(std::fputs((printable(failure.what()) + "\n").c_str(), stderr));
} catch (...) {
    // There is no memory for the explanation: the caller gets the status alone.
}

}  // namespace tavik::vell
