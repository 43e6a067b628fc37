#include "TextTable.h"

#include <Poco/UTF8Encoding.h>

#include <algorithm>

namespace {

bool isAscii(std::string_view text) {
    unsigned all = 0;
    for (const char c : text)
        all |= static_cast<unsigned char>(c);
    return all < 0x80;
}

/// The bytes of the character that a lead byte opens; 0 for a byte that opens none.
std::size_t characterLength(unsigned char lead) {
    if (lead < 0x80)
        return 1;
    if (lead < 0xC2 || lead > 0xF4)
        return 0;
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

bool isUtf8(std::string_view text) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = characterLength(bytes[at]);
        if (length == 0 || length > text.size() - at ||
            !Poco::UTF8Encoding::isLegal(bytes + at, static_cast<int>(length)))
            return false;
        at += length;
    }
    return true;
}

bool countsByBytes(std::string_view text) {
    return isAscii(text) || !isUtf8(text);
}

bool opensCharacter(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) != 0x80;
}

/// The bytes that the first `count` characters of valid UTF-8 take.
std::size_t bytesOf(std::string_view text, std::size_t count) {
    std::size_t at = 0;
    for (; at < text.size(); ++at)
        if (opensCharacter(text[at]) && count-- == 0)
            break;
    return at;
}

/// The characters of a text: its code points where it is valid UTF-8, else its bytes.
std::size_t columnWidth(std::string_view text) {
    if (countsByBytes(text))
        return text.size();
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), opensCharacter));
}

}  // namespace

void appendRightAligned(std::string& row, std::string_view text, std::size_t field) {
    const std::size_t width = columnWidth(text);
    row.append(width < field ? field - width : 0, ' ').append(text);
}

void appendName(std::string& row, std::string_view name, std::size_t longest, std::size_t field) {
    row.append(field - (longest + 1), ' ');
    const std::size_t width = columnWidth(name);
    if (width <= longest) {
        row.append(name).append(longest + 1 - width, ' ');
        return;
    }
    const std::size_t kept = longest - 2;
    row.append(name.substr(0, countsByBytes(name) ? kept : bytesOf(name, kept))).append("...");
}

std::string extensionCount(unsigned long count) {
    return std::to_string(count) + (count > 1 ? " extensions " : " extension ");
}
