#pragma once

#include <pthread.h>
#include <signal.h>

#include <ctime>

namespace tavik {

/// Keeps this thread's SIGPIPE from the process while the object lives: a server that hangs up is
/// an error value and must not end the program, whatever a library beneath us writes with.
class SigpipeGuard {
  public:
    SigpipeGuard() {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe_, &old_);
        wasPending_ = isPending();
    }
    ~SigpipeGuard() {
        if (!wasPending_ && isPending()) {
            const timespec now{};
            sigtimedwait(&pipe_, nullptr, &now);
        }
        pthread_sigmask(SIG_SETMASK, &old_, nullptr);
    }
    SigpipeGuard(const SigpipeGuard&) = delete;
    SigpipeGuard& operator=(const SigpipeGuard&) = delete;

  private:
    static bool isPending() {
        sigset_t pending;
        return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
    }

    sigset_t pipe_{};
    sigset_t old_{};
    bool wasPending_ = false;
};

}  // namespace tavik
