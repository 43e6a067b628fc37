// The library is put in front of the C library with LD_PRELOAD. The environment says what it does:
//
// FAULT_KIND    what is counted: "change" (calls that change the disk; also where nothing is said),
//               "any" (those that read it, too), "memory" (allocations)
// FAULT_AT=N    the number of the call at which it strikes; without it, calls are only counted
// FAULT         "kill": the process dies before the call; "stop": it stops there until somebody
//               continues it; a number: the call fails with this errno value. Only calls that can
//               have this error are counted: no stat is interrupted, no read finds the disk full
// FAULT_ONWARD  all later calls fail as well
// FAULT_FROM    nothing is counted before the file of this name is opened
// FAULT_RELIEF  nothing fails any more once the file of this name is deleted
// FAULT_LOG     names a file that gets the struck call's name
// FAULT_PATH    instead of a number: each opening, making or deleting of what the program calls by
//               this name, and each reading of a link of this name, fails with FAULT; with "stop",
//               the process says "stopped" on its standard output and stops, once
// FAULT_NETWORK every disk is a network disk
// FAULT_COUNT   names a file that gets the number of counted calls when the process ends

#include "tests/faults/FaultPlan.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Allocations come before this library is initialised: until then it is not armed.
std::atomic<long> calls{0};
std::atomic<bool> isArmed{std::getenv("FAULT_FROM") == nullptr};
std::atomic<bool> isRelieved{false};

long numberFrom(const char* variable) {
    const char* text = std::getenv(variable);
    return text == nullptr ? 0 : std::strtol(text, nullptr, 10);
}

bool equals(const char* variable, const char* text) {
    const char* value = std::getenv(variable);
    return value != nullptr && std::strcmp(value, text) == 0;
}

bool isOfKind(unsigned traits) {
    static const bool isMemory = equals("FAULT_KIND", "memory");
    static const bool isAny = equals("FAULT_KIND", "any");
    if (isMemory || (traits & kAllocates) != 0)
        return isMemory && (traits & kAllocates) != 0;
    return isAny || (traits & kChanges) != 0;
}

bool canHave(int error, unsigned traits) {
    switch (error) {
        case ENOSPC:
        case EDQUOT:
            return (traits & kChanges) != 0 && (traits & kGivesRoom) == 0;
        case EROFS:
            return (traits & kChanges) != 0 && (traits & kNamesPath) != 0;
        case EACCES:
            return (traits & kNamesPath) != 0;
        case EMFILE:
            return (traits & kOpens) != 0;
        case EINTR:
            return (traits & kInterruptible) != 0;
        default:
            return true;
    }
}

/// By the calls that are not counted.
void writeText(const char* variable, const char* text) {
    static auto* const open = next<int(const char*, mode_t)>("creat");
    static auto* const write = next<ssize_t(int, const void*, size_t)>("write");
    const char* path = std::getenv(variable);
    const int file = path == nullptr ? -1 : open(path, 0600);
    if (file >= 0) {
        [[maybe_unused]] const ssize_t written = write(file, text, std::strlen(text));
        close(file);
    }
}

__attribute__((destructor)) void writeCount() {
    char text[24];
    std::snprintf(text, sizeof text, "%ld", calls.load());
    writeText("FAULT_COUNT", text);
}

}  // namespace

bool strikesAt(const char* path) {
    static const char* const name = std::getenv("FAULT_PATH");
    if (name == nullptr || path == nullptr || std::strcmp(path, name) != 0)
        return false;
    errno = static_cast<int>(numberFrom("FAULT"));
    static std::atomic<bool> hasStopped{false};
    if (errno == 0 && !hasStopped.exchange(true) && write(STDOUT_FILENO, "stopped\n", 8) == 8)
        raise(SIGSTOP);
    return errno != 0;
}

bool strikes(const char* name, unsigned traits) {
    if (!isArmed || isRelieved || !isOfKind(traits))
        return false;
    static const long at = numberFrom("FAULT_AT");
    static const int error = static_cast<int>(numberFrom("FAULT"));
    static const bool onward = std::getenv("FAULT_ONWARD") != nullptr;
    if (!canHave(error, traits))
        return false;
    const long call = ++calls;
    if (at == 0 || (onward ? call < at : call != at))
        return false;
    if (call == at)
        logStrike(name);
    if (equals("FAULT", "stop")) {
        kill(getpid(), SIGSTOP);
        return false;
    }
    if (error == 0)
        kill(getpid(), SIGKILL);
    errno = error;
    return true;
}

void noteOpened(const char* path) {
    if (equals("FAULT_FROM", path))
        isArmed = true;
}

void noteDeleted(const char* path) {
    if (equals("FAULT_RELIEF", path))
        isRelieved = true;
}

void logStrike(const char* text) {
    writeText("FAULT_LOG", text);
}
