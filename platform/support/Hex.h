#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tavik {

/// Two lower-case digits for each byte.
std::string toHex(std::string_view bytes);

/// The bytes that pairs of digits of either case stand for; nothing where the text has anything
/// else or an odd length.
std::optional<std::string> fromHex(std::string_view digits);

}  // namespace tavik
