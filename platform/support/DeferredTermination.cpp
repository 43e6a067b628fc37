#include "platform/support/DeferredTermination.h"

#include <signal.h>

#include <array>
#include <atomic>

namespace tavik {
namespace {

constexpr std::array<int, 3> kSignals = {SIGINT, SIGTERM, SIGHUP};

// A handler may touch nothing but lock-free atomics.
std::atomic<int> arrived{0};
static_assert(std::atomic<int>::is_always_lock_free);

int depth = 0;
std::array<bool, kSignals.size()> isDeferred{};

void note(int signal) {
    arrived = signal;
}

}  // namespace

DeferredTermination::DeferredTermination() noexcept {
    if (depth++ != 0)
        return;
    arrived = 0;
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        struct sigaction present {};
        ::sigaction(kSignals[i], nullptr, &present);
        isDeferred[i] = (present.sa_flags & SA_SIGINFO) == 0 && present.sa_handler == SIG_DFL;
        if (!isDeferred[i])
            continue;
        // The signal does not interrupt system calls. Code that waits for long asks isRequested().
        struct sigaction deferred {};
        deferred.sa_handler = &note;
        deferred.sa_flags = SA_RESTART;
        ::sigaction(kSignals[i], &deferred, nullptr);
    }
}

DeferredTermination::~DeferredTermination() {
    if (--depth != 0)
        return;
    for (std::size_t i = 0; i < kSignals.size(); ++i)
        if (isDeferred[i])
            static_cast<void>(::signal(kSignals[i], SIG_DFL));
    if (const int signal = arrived.exchange(0); signal != 0)
        static_cast<void>(::raise(signal));
}

bool DeferredTermination::isRequested() noexcept {
    return arrived != 0;
}

}  // namespace tavik
