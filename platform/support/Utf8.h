#pragma once

#include <cstddef>
#include <string_view>

namespace tavik {

/// One character of a text in UTF-8, or one byte of it that is none.
struct Character {
    static constexpr char32_t kMalformed = 0xFFFFFFFF;

    char32_t code = kMalformed;
    std::string_view bytes;
};

/// The first character of a text that is not empty. Takes the well-formed sequences of the Unicode
/// standard (table 3-7): no overlong forms, no surrogates, nothing above U+10FFFF.
Character firstCharacter(std::string_view text) noexcept;

/// Calls `take(character)` for each character, until it returns false. The result says whether it
/// never did.
template <typename Take>
bool forEachCharacter(std::string_view text, Take take) {
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        if (!take(character))
            return false;
        text.remove_prefix(character.bytes.size());
    }
    return true;
}

}  // namespace tavik
