#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tavik {

/// The seconds since 1970 of a time such as "2027-06-01T00:00:00Z"; nothing where the text has
/// another form or names a time that does not exist, as on a 31st of June.
std::optional<std::int64_t> parseUtcTime(const std::string& text);

/// The same form for seconds since 1970.
std::string formatUtcTime(std::int64_t seconds);

}  // namespace tavik
