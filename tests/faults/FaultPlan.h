#pragma once

#include <dlfcn.h>

#define EXPORTED extern "C" __attribute__((visibility("default")))

/// What a call does with the disk, as a sum: it decides which errors it can have.
enum CallTraits : unsigned {
    kReads = 0,
    kChanges = 1,        ///< what is on the disk
    kNamesPath = 2,      ///< rights and a read-only disk are told here
    kOpens = 4,          ///< takes a descriptor
    kInterruptible = 8,  ///< by a signal
    kGivesRoom = 16,     ///< a full disk lets it through
    kAllocates = 32,     ///< memory, and nothing of the disk
};

/// Counts this call; true where it is to fail, errno is set then. `name` goes into the log.
bool strikes(const char* name, unsigned traits);

/// The same for calls about one path, however often they come; see FAULT_PATH.
bool strikesAt(const char* path);

/// Puts this into the log, in the place of what is there.
void logStrike(const char* text);

/// A file is opened: the calls count from when FAULT_FROM is.
void noteOpened(const char* path);
/// A file is deleted: no call fails any more once FAULT_RELIEF is.
void noteDeleted(const char* path);

/// The function of that name that would have been called without this library.
template <class Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
