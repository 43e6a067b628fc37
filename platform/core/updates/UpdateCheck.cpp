#include "platform/core/updates/UpdateCheck.h"

#include <pthread.h>
#include <signal.h>

#include "platform/core/updates/UpdateSearch.h"

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

UpdateCheck::UpdateCheck(UpdateCheckInput input) {
    try {
        search_ = std::make_unique<UpdateSearch>(std::move(input));
        thread_ = startThread([this] {
            try {
                search_->run();
            } catch (...) {
                failure_ = std::current_exception();
            }
        });
    } catch (...) {
        failure_ = std::current_exception();
    }
}

UpdateCheck::~UpdateCheck() {
    if (!thread_.joinable())
        return;
    search_->cancel();
    thread_.join();
}

void UpdateCheck::wait() {
    if (thread_.joinable())
        thread_.join();
    if (failure_)
        std::rethrow_exception(failure_);
}

const Offer& UpdateCheck::updateOf(const std::string& idKey) {
    wait();
    return search_->updateOf(idKey);
}

std::vector<const Offer*> UpdateCheck::updatesOf(const std::string& productName) {
    wait();
    return search_->updatesOf(productName);
}

const std::optional<Error>& UpdateCheck::warning() {
    wait();
    return search_->warning();
}

}  // namespace tavik
