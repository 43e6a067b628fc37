#include "platform/support/Hex.h"

namespace tavik {
namespace {

/// 16 for what is no digit.
unsigned valueOf(char digit) noexcept {
    if (digit >= '0' && digit <= '9')
        return static_cast<unsigned>(digit - '0');
    if (digit >= 'a' && digit <= 'f')
        return static_cast<unsigned>(digit - 'a') + 10;
    if (digit >= 'A' && digit <= 'F')
        return static_cast<unsigned>(digit - 'A') + 10;
    return 16;
}

}  // namespace

std::string toHex(std::string_view bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 15U];
    }
    return text;
}

std::optional<std::string> fromHex(std::string_view digits) {
    if (digits.size() % 2 != 0)
        return std::nullopt;
    std::string bytes;
    bytes.reserve(digits.size() / 2);
    for (std::size_t at = 0; at < digits.size(); at += 2) {
        const unsigned high = valueOf(digits[at]);
        const unsigned low = valueOf(digits[at + 1]);
        if (high > 15 || low > 15)
            return std::nullopt;
        bytes += static_cast<char>(high << 4U | low);
    }
    return bytes;
}

}  // namespace tavik
