#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tavik {

bool isUtf8(std::string_view text) noexcept;

/// The text with U+FFFD in the place of each byte that is no UTF-8.
std::string validUtf8(std::string_view text);

/// Whether `text` is valid UTF-8 without control characters (U+0000..1F, 7F..9F). File names need
/// no more than that.
bool isControlFree(std::string_view text) noexcept;

/// Whether `text` can be shown as it is: isControlFree, and without characters that nobody sees or
/// that change how their neighbours look (zero-width and directional characters, line and paragraph
/// separators, tags, non-characters).
bool isPrintableText(std::string_view text) noexcept;

/// Whether `text` can name something for people: isPrintableText, and not blank, as an empty text
/// or one of spaces of any script is, or of combining marks and variation selectors that have no
/// letter to stand on.
bool isNameText(std::string_view text) noexcept;

/// A foreign text made fit for one line of output: each character that isPrintableText refuses, and
/// each byte that is not UTF-8, becomes a `?`.
std::string printable(std::string_view text);

/// The same with `\xNN` for each byte of such a character, cut where the text is long.
std::string oneLine(std::string_view text);

/// oneLine between double quotes.
std::string quoteName(std::string_view name);

/// The first `maxBytes` bytes, less where that would end inside a character; "..." shows the cut.
std::string shortened(std::string_view text, std::size_t maxBytes);

bool endsWith(std::string_view text, std::string_view ending) noexcept;

/// Whether it is an ASCII letter or digit.
bool isAlphanumeric(char c) noexcept;

/// ASCII letters in lower case; other bytes as they are.
std::string toLowerAscii(std::string_view text);

/// Whether two texts differ in the case of ASCII letters at the most.
bool equalsIgnoringCase(std::string_view a, std::string_view b) noexcept;

}  // namespace tavik
