#include "platform/support/QuietThread.h"

#include <pthread.h>
#include <signal.h>

namespace tavik {

std::thread startQuietThread(const std::function<void()>& run) {
    // A new thread inherits the mask of the one that starts it.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    struct Restore {
        sigset_t mask;
        ~Restore() { pthread_sigmask(SIG_SETMASK, &mask, nullptr); }
    } restore{before};
    return std::thread(run);
}

}  // namespace tavik
