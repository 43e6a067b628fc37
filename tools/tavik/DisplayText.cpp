#include "tools/tavik/DisplayText.h"

#include <utf8proc.h>

namespace tavik::front {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

struct Character {
    std::string_view bytes;
    utf8proc_int32_t code = -1;  ///< -1: not UTF-8
};

/// The character at the beginning of a text that is not empty.
Character firstOf(std::string_view text) {
    utf8proc_int32_t code = -1;
    const utf8proc_ssize_t size =
        utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                         static_cast<utf8proc_ssize_t>(text.size()), &code);
    if (size <= 0)
        return {text.substr(0, 1), -1};
    return {text.substr(0, static_cast<std::size_t>(size)), code};
}

template <class Take>
void forEachCharacter(std::string_view text, Take take) {
    while (!text.empty()) {
        const Character character = firstOf(text);
        take(character);
        text.remove_prefix(character.bytes.size());
    }
}

std::size_t widthOf(const Character& character) {
    const int width = character.code < 0 ? 1 : utf8proc_charwidth(character.code);
    return width < 0 ? 0 : static_cast<std::size_t>(width);
}

}  // namespace

std::string validUtf8(std::string_view text) {
    std::string valid;
    forEachCharacter(text, [&](const Character& character) {
        valid += character.code < 0 ? kReplacement : character.bytes;
    });
    return valid;
}

std::size_t displayWidth(std::string_view text) {
    std::size_t columns = 0;
    forEachCharacter(text, [&](const Character& character) { columns += widthOf(character); });
    return columns;
}

std::string inColumns(const std::string& text, std::size_t columns) {
    const std::size_t width = displayWidth(text);
    if (width <= columns)
        return text + std::string(columns - width, ' ');
    if (columns == 0)
        return {};
    std::string cut;
    std::size_t used = 0;
    bool isFull = false;
    forEachCharacter(text, [&](const Character& character) {
        // The ellipsis takes one column.
        isFull = isFull || used + widthOf(character) + 1 > columns;
        if (isFull)
            return;
        cut += character.bytes;
        used += widthOf(character);
    });
    return cut + std::string(kEllipsis) + std::string(columns - 1 - used, ' ');
}

}  // namespace tavik::front
