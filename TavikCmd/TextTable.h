#pragma once

#include <string>
#include <string_view>

/// Appends the text with blanks before it up to `field` characters; a wider text stays as it is.
/// Here and below the characters are code points where the text is valid UTF-8, else bytes.
void appendRightAligned(std::string& row, std::string_view text, std::size_t field);

/// Appends a name as a column of `longest` + 1 characters, right-aligned in `field`: padded with
/// blanks, or, where it has more than `longest`, cut to `longest` - 2 and "...". A multi-byte
/// character is never cut in half.
void appendName(std::string& row, std::string_view name, std::size_t longest, std::size_t field);

/// "1 extension ", "2 extensions ": how the line above a table begins.
std::string extensionCount(unsigned long count);
