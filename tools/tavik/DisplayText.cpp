#include "tools/tavik/DisplayText.h"

#include <utf8proc.h>

#include "platform/support/Utf8.h"

namespace tavik::front {
namespace {

constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

std::size_t widthOf(const Character& character) {
    if (character.code == Character::kMalformed)
        return 1;
    const int width = utf8proc_charwidth(static_cast<utf8proc_int32_t>(character.code));
    return width < 0 ? 0 : static_cast<std::size_t>(width);
}

}  // namespace

std::size_t displayWidth(std::string_view text) {
    std::size_t columns = 0;
    forEachCharacter(text, [&](const Character& character) {
        columns += widthOf(character);
        return true;
    });
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
    forEachCharacter(text, [&](const Character& character) {
        // The ellipsis takes one column.
        if (used + widthOf(character) + 1 > columns)
            return false;
        cut += character.bytes;
        used += widthOf(character);
        return true;
    });
    return cut + std::string(kEllipsis) + std::string(columns - 1 - used, ' ');
}

}  // namespace tavik::front
