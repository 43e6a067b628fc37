#include "platform/support/Text.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "platform/support/Hex.h"

namespace tavik {
namespace {

constexpr std::size_t kMaxShownBytes = 160;
constexpr char32_t kMalformed = 0xFFFFFFFF;

/// One character of a text: where it is not UTF-8, one byte with the code kMalformed.
struct Character {
    char32_t code;
    std::size_t bytes;
};

/// The first character of a text that is not empty. Takes the well-formed sequences of the Unicode
/// standard (table 3-7): no overlong forms, no surrogates, nothing above U+10FFFF.
Character firstOf(std::string_view text) noexcept {
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80)
        return {lead, 1};
    const std::size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < bytes)
        return {kMalformed, 1};
    char32_t code = lead & (0x7FU >> bytes);
    for (std::size_t i = 1; i < bytes; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0U) != 0x80)
            return {kMalformed, 1};
        code = code << 6U | (byte & 0x3FU);
    }
    constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < kLeast[bytes] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        return {kMalformed, 1};
    return {code, bytes};
}

bool isControl(char32_t code) noexcept {
    return code < 0x20 || (code >= 0x7F && code <= 0x9F);
}

struct Range {
    char32_t first;
    char32_t last;
};

template <std::size_t size>
bool isIn(const Range (&ranges)[size], char32_t code) noexcept {
    return std::any_of(std::begin(ranges), std::end(ranges), [code](const Range& range) {
        return code >= range.first && code <= range.last;
    });
}

bool isPrintable(char32_t code) noexcept {
    if (code < 0x7F)
        return code >= 0x20;
    // From the Unicode standard: format characters without a shape, and non-characters.
    static constexpr Range kUnseen[] = {
        {0x7F, 0x9F},        // DEL and the C1 controls
        {0xAD, 0xAD},        // soft hyphen
        {0x034F, 0x034F},    // combining grapheme joiner
        {0x061C, 0x061C},    // Arabic letter mark
        {0x115F, 0x1160},    // Hangul fillers
        {0x17B4, 0x17B5},    // Khmer inherent vowels
        {0x180B, 0x180F},    // Mongolian variation selectors and vowel separator
        {0x200B, 0x200F},    // zero-width space and joiners, directional marks
        {0x2028, 0x202E},    // line and paragraph separators, directional embeddings
        {0x2060, 0x206F},    // word joiner, invisible operators, directional isolates
        {0x3164, 0x3164},    // Hangul filler
        {0xFDD0, 0xFDEF},    // non-characters
        {0xFEFF, 0xFEFF},    // zero-width no-break space
        {0xFFA0, 0xFFA0},    // halfwidth Hangul filler
        {0xFFF0, 0xFFFB},    // reserved, interlinear annotations
        {0x1BCA0, 0x1BCA3},  // shorthand format controls
        {0x1D173, 0x1D17A},  // musical beams, ties, slurs and phrases
        {0xE0000, 0xE0FFF}   // tags and what is reserved beside them
    };
    return code != kMalformed && (code & 0xFFFEU) != 0xFFFE && !isIn(kUnseen, code);
}

/// Calls `take(code, bytes)` for each character, until it returns false; whether it never did.
template <typename Take>
bool forEachCharacter(std::string_view text, Take take) {
    while (!text.empty()) {
        const Character character = firstOf(text);
        if (!take(character.code, text.substr(0, character.bytes)))
            return false;
        text.remove_prefix(character.bytes);
    }
    return true;
}

/// The length of the longest beginning of `text` that has at most `maxBytes` bytes and ends with a
/// whole character.
std::size_t wholeCharacters(std::string_view text, std::size_t maxBytes) {
    std::size_t size = 0;
    forEachCharacter(text, [&](char32_t, std::string_view bytes) {
        if (size + bytes.size() > maxBytes)
            return false;
        size += bytes.size();
        return true;
    });
    return size;
}

/// Whether nothing in it is seen by itself: blanks, combining marks (U+0300 to 036F), and the
/// variation selectors that isPrintable lets pass (U+FE00 to FE0F).
bool isBlank(std::string_view text) noexcept {
    static constexpr Range kBlanks[] = {
        {' ', ' '},       {0xA0, 0xA0},     {0x0300, 0x036F}, {0x1680, 0x1680}, {0x2000, 0x200A},
        {0x202F, 0x202F}, {0x205F, 0x205F}, {0x2800, 0x2800}, {0x3000, 0x3000}, {0xFE00, 0xFE0F}};
    return forEachCharacter(text,
                            [](char32_t code, std::string_view) { return isIn(kBlanks, code); });
}

char lowerAscii(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

bool isUtf8(std::string_view text) noexcept {
    return forEachCharacter(text,
                            [](char32_t code, std::string_view) { return code != kMalformed; });
}

bool isControlFree(std::string_view text) noexcept {
    return forEachCharacter(text, [](char32_t code, std::string_view) {
        return code != kMalformed && !isControl(code);
    });
}

bool isPrintableText(std::string_view text) noexcept {
    // Most texts are plain ASCII: that is seen at once.
    if (std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; }))
        return true;
    return forEachCharacter(text,
                            [](char32_t code, std::string_view) { return isPrintable(code); });
}

bool isNameText(std::string_view text) noexcept {
    return isPrintableText(text) && !isBlank(text);
}

std::string printable(std::string_view text) {
    std::string shown;
    shown.reserve(text.size());
    forEachCharacter(text, [&](char32_t code, std::string_view bytes) {
        shown += isPrintable(code) ? bytes : std::string_view("?");
        return true;
    });
    return shown;
}

std::string oneLine(std::string_view text) {
    std::string shown;
    const std::size_t size = wholeCharacters(text, kMaxShownBytes);
    forEachCharacter(text.substr(0, size), [&](char32_t code, std::string_view bytes) {
        if (isPrintable(code))
            shown += bytes;
        else
            for (const char byte : bytes)
                shown += "\\x" + toHex({&byte, 1});
        return true;
    });
    return size < text.size() ? shown + "..." : shown;
}

std::string quoteName(std::string_view name) {
    return '"' + oneLine(name) + '"';
}

std::string shortened(std::string_view text, std::size_t maxBytes) {
    if (text.size() <= maxBytes)
        return std::string(text);
    return std::string(text.substr(0, wholeCharacters(text, maxBytes))) + "...";
}

bool isAlphanumeric(char c) noexcept {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

std::string toLowerAscii(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), lowerAscii);
    return lower;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) noexcept {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lowerAscii(x) == lowerAscii(y); });
}

}  // namespace tavik
