#pragma once

#include <string>

namespace tavik {

/// 16 random hexadecimal digits for a name that was never used before. Throws errno failures.
std::string newToken();

/// The time as RFC 3339 has it, in UTC and whole seconds: "2026-11-21T22:40:00Z".
std::string timeNow();

}  // namespace tavik
