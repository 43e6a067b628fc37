#pragma once

#include <exception>
#include <memory>
#include <thread>

#include "platform/core/updates/UpdateCheck.h"

namespace tavik {

/// A check for updates that runs on a thread of its own.
class BackgroundCheck {
  public:
    /// Starts the check. A failure shows when its result is asked for.
    explicit BackgroundCheck(UpdateCheckInput input);

    /// Ends a check that is still under way, without waiting for servers.
    ~BackgroundCheck();
    BackgroundCheck(const BackgroundCheck&) = delete;
    BackgroundCheck& operator=(const BackgroundCheck&) = delete;

    /// Waits for the end of the check, which comes within its bounds. Throws Error where the check
    /// as a whole could not be made (updatesUnavailable).
    const UpdateCheck& result();

  private:
    std::unique_ptr<UpdateCheck> check_;
    std::exception_ptr failure_;
    std::thread thread_;
};

}  // namespace tavik
