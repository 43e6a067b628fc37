#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/core/package/Fault.h"

namespace tavik::qpk {

// Names of files come from anywhere. What a terminal would not show, or would take for a command,
// is printed as "?".

/// A line on standard output.
void printLine(const std::string& text);

/// "qpk: TEXT", a line on standard error.
void printProblem(const std::string& text);

/// Says on standard error why nothing was made of `subject`, a line for each fault. Returns 1.
int refuseFor(const std::string& subject, const std::vector<Fault>& faults);

/// "1 fault", "2 faults".
std::string counted(std::uint64_t number, const std::string& thing);

/// "512 bytes", "20.0 KiB".
std::string readableSize(std::uint64_t bytes);

}  // namespace tavik::qpk
