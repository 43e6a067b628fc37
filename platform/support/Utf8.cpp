#include "platform/support/Utf8.h"

namespace tavik {

Character firstCharacter(std::string_view text) noexcept {
    const Character malformed{Character::kMalformed, text.substr(0, 1)};
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80)
        return {lead, text.substr(0, 1)};
    const std::size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < bytes)
        return malformed;
    char32_t code = lead & (0x7FU >> bytes);
    for (std::size_t i = 1; i < bytes; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0U) != 0x80)
            return malformed;
        code = code << 6U | (byte & 0x3FU);
    }
    constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < kLeast[bytes] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        return malformed;
    return {code, text.substr(0, bytes)};
}

}  // namespace tavik
