#pragma once

#include <stdexcept>
#include <string>

namespace tavik::qpk {

/// What an author can do something about: the thing, the cause, and what to do.
class Failure : public std::runtime_error {
  public:
    Failure(const std::string& subject, const std::string& cause, const std::string& remedy)
        : std::runtime_error(subject + ": " + cause + "; " + remedy) {}
};

/// A command line that is not right; what() says how.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace tavik::qpk
