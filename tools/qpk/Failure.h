#pragma once

#include <stdexcept>
#include <string>

namespace tavik::qpk {

/// A failure that an author can repair: the thing, the cause, and what to do.
class Failure : public std::runtime_error {
  public:
    Failure(const std::string& subject, const std::string& cause, const std::string& remedy)
        : std::runtime_error(subject + ": " + cause + "; " + remedy) {}
};

/// A wrong command line; what() says what is wrong.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace tavik::qpk
