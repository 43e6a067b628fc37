#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/qpk/CommandLine.h"
#include "tools/qpk/FeedPage.h"

namespace tavik::qpk {

// The options of `qpk feed` as values. All of them throw UsageError.

/// From 0 to 2^53; nothing where it was not given.
std::optional<std::int64_t> serialBy(const CommandLine& line);

/// "2027-06-01T00:00:00Z": what was given, or a year from today. In the future.
std::string expiryOf(const CommandLine& line);

std::vector<WithdrawnVersion> withdrawnBy(const CommandLine& line);

FeedPage pageOf(const CommandLine& line);

}  // namespace tavik::qpk
