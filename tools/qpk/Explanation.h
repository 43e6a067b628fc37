#pragma once

#include <stdexcept>
#include <string>

#include "platform/core/status/Status.h"

namespace tavik::qpk {

/// A failure in the parts that people and programs read.
struct Explanation {
    std::string subject;
    int status = 0;    ///< one of the core's (docs/statuses.md); 0 where it has none for this
    std::string name;  ///< of that status; empty for 0
    std::string cause;
    std::string remedy;

    /// "SUBJECT: CAUSE; REMEDY".
    std::string line() const;
};

/// The name of a status, "manifestInvalid"; empty for a number that has none.
std::string statusName(Status status);

/// Explains a Failure or an Error; any other exception's text is its cause.
Explanation explain(const std::exception& exception);

}  // namespace tavik::qpk
