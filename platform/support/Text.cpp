#include "platform/support/Text.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "platform/support/Hex.h"
#include "platform/support/Utf8.h"

namespace tavik {
namespace {

constexpr std::size_t kMaxShownBytes = 160;

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
    return code != Character::kMalformed && (code & 0xFFFEU) != 0xFFFE && !isIn(kUnseen, code);
}

/// The length of the longest beginning of `text` that has at most `maxBytes` bytes and ends with a
/// whole character.
std::size_t wholeCharacters(std::string_view text, std::size_t maxBytes) {
    std::size_t size = 0;
    forEachCharacter(text, [&](const Character& character) {
        if (size + character.bytes.size() > maxBytes)
            return false;
        size += character.bytes.size();
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
    return forEachCharacter(
        text, [](const Character& character) { return isIn(kBlanks, character.code); });
}

char lowerAscii(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

bool isUtf8(std::string_view text) noexcept {
    return forEachCharacter(
        text, [](const Character& character) { return character.code != Character::kMalformed; });
}

std::string validUtf8(std::string_view text) {
    constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
    std::string valid;
    valid.reserve(text.size());
    forEachCharacter(text, [&](const Character& character) {
        valid += character.code == Character::kMalformed ? kReplacement : character.bytes;
        return true;
    });
    return valid;
}

bool isControlFree(std::string_view text) noexcept {
    return forEachCharacter(text, [](const Character& character) {
        return character.code != Character::kMalformed && !isControl(character.code);
    });
}

bool isPrintableText(std::string_view text) noexcept {
    // Most texts are plain ASCII: that is seen at once.
    if (std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; }))
        return true;
    return forEachCharacter(text,
                            [](const Character& character) { return isPrintable(character.code); });
}

bool isNameText(std::string_view text) noexcept {
    return isPrintableText(text) && !isBlank(text);
}

std::string printable(std::string_view text) {
    std::string shown;
    shown.reserve(text.size());
    forEachCharacter(text, [&](const Character& character) {
        shown += isPrintable(character.code) ? character.bytes : std::string_view("?");
        return true;
    });
    return shown;
}

std::string oneLine(std::string_view text) {
    std::string shown;
    const std::size_t size = wholeCharacters(text, kMaxShownBytes);
    forEachCharacter(text.substr(0, size), [&](const Character& character) {
        if (isPrintable(character.code))
            shown += character.bytes;
        else
            for (const char byte : character.bytes)
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

bool endsWith(std::string_view text, std::string_view ending) noexcept {
    return text.size() >= ending.size() && text.substr(text.size() - ending.size()) == ending;
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
