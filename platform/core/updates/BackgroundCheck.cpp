#include "platform/core/updates/BackgroundCheck.h"

#include <pthread.h>
#include <signal.h>

namespace tavik {
namespace {

/// Starts a thread that no signal is delivered to: signals are the caller's business.
template <class Work>
std::thread startThread(Work work) {
    sigset_t all;
    sigset_t old;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &old);
    std::thread thread;
    try {
        thread = std::thread(std::move(work));
    } catch (...) {
        pthread_sigmask(SIG_SETMASK, &old, nullptr);
        throw;
    }
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    return thread;
}

}  // namespace

BackgroundCheck::BackgroundCheck(UpdateCheckInput input) {
    try {
        check_ = std::make_unique<UpdateCheck>(std::move(input));
        thread_ = startThread([this] {
            try {
                check_->run();
            } catch (...) {
                failure_ = std::current_exception();
            }
        });
    } catch (...) {
        failure_ = std::current_exception();
    }
}

BackgroundCheck::~BackgroundCheck() {
    if (!thread_.joinable())
        return;
    check_->cancel();
    thread_.join();
}

const UpdateCheck& BackgroundCheck::result() {
    if (thread_.joinable())
        thread_.join();
    if (failure_)
        std::rethrow_exception(failure_);
    return *check_;
}

}  // namespace tavik
