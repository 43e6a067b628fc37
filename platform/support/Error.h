#pragma once

#include <stdexcept>
#include <string>

namespace tavik {

/// A failure inside a platform library: the status for the caller, the thing that it is about, and
/// what is known of the cause. Each library numbers its own statuses.
class Error : public std::runtime_error {
  public:
    Error(int status, std::string subject, std::string detail)
        : std::runtime_error(detail.empty() ? subject : subject + ": " + detail),
          status_(status),
          subject_(std::move(subject)),
          detail_(std::move(detail)) {}

    int status() const noexcept { return status_; }
    const std::string& subject() const noexcept { return subject_; }
    const std::string& detail() const noexcept { return detail_; }

  private:
    int status_;
    std::string subject_;
    std::string detail_;
};

}  // namespace tavik
