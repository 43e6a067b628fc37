#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tavik::front {

/// How many columns of a terminal a printable text takes.
std::size_t displayWidth(std::string_view text);

/// The text in exactly that many columns: filled with blanks, or cut with "…" at its end.
std::string inColumns(const std::string& text, std::size_t columns);

}  // namespace tavik::front
