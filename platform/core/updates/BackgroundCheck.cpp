#include "platform/core/updates/BackgroundCheck.h"

#include "platform/support/QuietThread.h"

namespace tavik {

BackgroundCheck::BackgroundCheck(UpdateCheckInput input) {
    try {
        check_ = std::make_unique<UpdateCheck>(std::move(input));
        thread_ = startQuietThread([this] {
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
