// Allocations of the preloaded library: see FaultPlan.cpp. operator new comes through malloc.
// A sanitizer brings allocations of its own, so builds with one leave this file out.

#include <dlfcn.h>
#include <execinfo.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "tests/faults/FaultPlan.h"

namespace {

constexpr int kMaxFrames = 100;

// The first call allocates.
[[maybe_unused]] const int primed = [] {
    void* frame = nullptr;
    return backtrace(&frame, 1);
}();

bool isInTheCore() {
    void* frames[kMaxFrames];
    const int count = backtrace(frames, kMaxFrames);
    for (int i = 0; i < count; ++i) {
        Dl_info info{};
        if (dladdr(frames[i], &info) != 0 && std::strstr(info.dli_fname, "libTavikCore") != nullptr)
            return true;
    }
    return false;
}

}  // namespace

// The C library's own names: asking for them with dlsym would allocate.
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* old, std::size_t size);
extern "C" void* __libc_memalign(std::size_t alignment, std::size_t size);

EXPORTED void* malloc(std::size_t size) {
    return strikes("malloc", kAllocates) ? nullptr : __libc_malloc(size);
}

EXPORTED void* calloc(std::size_t count, std::size_t size) {
    return strikes("calloc", kAllocates) ? nullptr : __libc_calloc(count, size);
}

EXPORTED void* realloc(void* old, std::size_t size) {
    return strikes("realloc", kAllocates) ? nullptr : __libc_realloc(old, size);
}

EXPORTED void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return strikes("aligned_alloc", kAllocates) ? nullptr : __libc_memalign(alignment, size);
}

EXPORTED int posix_memalign(void** result, std::size_t alignment, std::size_t size) {
    if (strikes("posix_memalign", kAllocates))
        return ENOMEM;
    *result = __libc_memalign(alignment, size);
    return *result == nullptr ? ENOMEM : 0;
}

/// An exception that nobody catches ends here, its stack as it was.
EXPORTED void abort() {
    if (isInTheCore())
        logStrike("in the core, which ends the process");
    next<void()>("abort")();
    __builtin_unreachable();
}
