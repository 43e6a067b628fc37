#include "framework/VellFramework.h"

#include <dlfcn.h>

void* vellEntryAddress(const char* name) {
    // Bound entry by entry: an installation without the framework, or with an older one that lacks
    // some entries, still runs every command that does not need them. Never unloaded.
    static void* const framework = dlopen(TAVIK_VELL_LIBRARY_FILE, RTLD_LAZY | RTLD_LOCAL);
    return framework == nullptr ? nullptr : dlsym(framework, name);
}
