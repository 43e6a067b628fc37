#pragma once

#include <stdexcept>
#include <string>

namespace tavik::qpk {

/// A failure that an author can repair: the thing, the cause, and what to do.
class Failure : public std::runtime_error {
  public:
    Failure(const std::string& subject, const std::string& cause, const std::string& remedy)
        : std::runtime_error(subject + ": " + cause + "; " + remedy),
          subject_(subject),
          cause_(cause),
          remedy_(remedy) {}

    const std::string& subject() const noexcept { return subject_; }
    const std::string& cause() const noexcept { return cause_; }
    const std::string& remedy() const noexcept { return remedy_; }

  private:
    std::string subject_;
    std::string cause_;
    std::string remedy_;
};

/// A wrong command line; what() says what is wrong.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace tavik::qpk
