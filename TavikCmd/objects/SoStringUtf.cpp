#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

#include "objects/SoString.h"

namespace Vexil {
namespace {

constexpr unsigned kReplacement = 0xFFFD;
constexpr long kMaxCountedUnits = 65536;
/// No unit becomes more than three bytes, so that many always fit a string.
constexpr long kMaxUnits = (std::numeric_limits<std::int32_t>::max() - 128) / 3;

bool isHighSurrogate(unsigned short unit) {
    return (unit & 0xFC00U) == 0xD800U;
}

bool isLowSurrogate(unsigned short unit) {
    return (unit & 0xFC00U) == 0xDC00U;
}

unsigned long pairValue(unsigned short high, unsigned short low) {
    return ((high - 0xD800UL) << 10U) + (low - 0xDC00UL) + 0x10000UL;
}

/// The code point at `at`, which moves past it. A pair is one only where its low unit lies before
/// `end`; null for no end, where the unit behind a high one may be read in any case.
unsigned long nextCodePoint(const unsigned short*& at, const unsigned short* end) {
    const unsigned short unit = *at++;
    if (isHighSurrogate(unit) && at != end && isLowSurrogate(*at))
        return pairValue(unit, *at++);
    return unit;
}

long countUnits(const unsigned short* s) {
    long count = 0;
    while (count < kMaxCountedUnits && s[count] != 0)
        ++count;
    return count;
}

/// The bytes of all units up to the terminator, wherever the caller's length ends.
long measureToTerminator(const unsigned short* s) {
    std::array<unsigned char, 6> ignored{};
    long total = 0;
    while (*s != 0 && total <= 3 * kMaxUnits)
        total += static_cast<long>(EncodeUTF8(nextCodePoint(s, nullptr), ignored.data()));
    return std::min(total, 3 * kMaxUnits);
}

/// The bytes of exactly `len` units, zeros among them included.
long measureUnits(const unsigned short* s, long len) {
    std::array<unsigned char, 6> ignored{};
    long total = 0;
    for (const unsigned short* end = s + len; s != end;)
        total += static_cast<long>(EncodeUTF8(nextCodePoint(s, end), ignored.data()));
    return total;
}

/// How many bytes a sequence has by its lead byte; 0 for a continuation byte.
int sequenceLength(unsigned char lead) {
    if (lead < 0x80)
        return 1;
    if (lead < 0xC0)
        return 0;
    if (lead < 0xE0)
        return 2;
    if (lead < 0xF0)
        return 3;
    if (lead < 0xF8)
        return 4;
    return lead < 0xFC ? 5 : 6;
}

/// What the marker bits of a whole sequence add up to when its bytes are put together, six bits
/// each, with nothing masked off.
std::uint32_t markerOffset(int bytes) {
    constexpr std::array<std::uint32_t, 7> kLeadMarkers{0, 0, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
    std::uint32_t offset = kLeadMarkers[static_cast<std::size_t>(bytes)];
    for (int i = 1; i < bytes; ++i)
        offset = (offset << 6U) + 0x80;
    return offset;
}

unsigned short* writeUtf16(std::uint32_t cp, unsigned short* out) {
    if (cp > 0x10FFFF)
        cp = kReplacement;
    if (cp < 0x10000) {
        *out++ = static_cast<unsigned short>(cp);
    } else {
        *out++ = static_cast<unsigned short>(0xD800U + ((cp - 0x10000) >> 10U));
        *out++ = static_cast<unsigned short>(0xDC00U | ((cp - 0x10000) & 0x3FFU));
    }
    return out;
}

}  // namespace

unsigned long EncodeUTF8(unsigned long cp, unsigned char* out) {
    struct Form {
        unsigned long last;
        unsigned char lead;
    };
    constexpr std::array<Form, 6> kForms{{{0x7F, 0},
                                          {0x7FF, 0xC0},
                                          {0xFFFF, 0xE0},
                                          {0x1FFFFF, 0xF0},
                                          {0x3FFFFFF, 0xF8},
                                          {0x7FFFFFFE, 0xFC}}};
    if (cp > kForms.back().last)
        cp = kReplacement;
    unsigned long count = 1;
    while (cp > kForms[count - 1].last)
        ++count;
    for (unsigned long i = count; i > 1; --i, cp >>= 6U)
        out[i - 1] = static_cast<unsigned char>(0x80U | (cp & 0x3FU));
    out[0] = static_cast<unsigned char>(kForms[count - 1].lead | cp);
    return count;
}

SoString::SoString(const unsigned short* s, long len) : SoString() {
    if (s == nullptr)
        return;
    len = len < 0 ? countUnits(s) : std::min(len, kMaxUnits);
    if (len == 0)
        return;

    // Measuring ends at the terminator and writing at `len`. A text with zeros inside, or one that
    // is longer than `len`, makes the two differ: the buffer has room for both.
    const long total = std::max(measureToTerminator(s), measureUnits(s, len));
    if (capacity < total + 1) {
        capacity = static_cast<std::int32_t>((total + 128) & ~127L);
        freeHeap(data);
        data = static_cast<char*>(mallocHeap(static_cast<unsigned long>(capacity)));
    }
    auto* out = reinterpret_cast<unsigned char*>(data);
    for (const unsigned short* end = s + len; s != end;)
        out += EncodeUTF8(nextCodePoint(s, end), out);
    *out = '\0';
    length = static_cast<std::int32_t>(out - reinterpret_cast<unsigned char*>(data));
}

unsigned short* SoString::convertToUtf16(unsigned short* out, unsigned long max) const {
    const auto byteAt = [this](long at) -> std::uint32_t {
        return at < length ? static_cast<unsigned char>(data[at]) : 0U;
    };
    long at = 0;
    for (; max != 0; --max) {
        const int bytes = sequenceLength(static_cast<unsigned char>(byteAt(at)));
        if (bytes == 0) {
            // A sequence of length 0 is not passed: the same byte is met until `max` is used up.
            *out++ = kReplacement;
            continue;
        }
        std::uint32_t cp = 0;
        for (int i = 0; i < bytes; ++i)
            cp = (cp << 6U) + byteAt(at + i);
        cp -= markerOffset(bytes);
        if (cp == 0) {
            *out = 0;
            return out;
        }
        at += bytes;
        out = writeUtf16(cp, out);
    }
    return nullptr;
}

}  // namespace Vexil
