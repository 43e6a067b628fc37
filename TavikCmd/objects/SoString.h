#pragma once

#include <cstdint>

#include "objects/SoHeap.h"

namespace Vexil {

/// A byte string with a NUL behind its last byte; text in it is UTF-8, which nothing checks.
///
/// Wherever text comes with a `len`, a negative one means "up to the NUL", and a null text stands
/// for "". Lengths and capacities are 32 bits wide: longer text is cut.
class SoString : public SoHeap {
  public:
    char* data;             ///< the bytes and a NUL; owned
    std::int32_t length;    ///< bytes before the NUL
    std::int32_t capacity;  ///< bytes in the buffer: a multiple of 128, at least length + 1

    SoString();
    explicit SoString(char c);
    SoString(const char* s, long len);
    SoString(const SoString& other);
    /// From UTF-16 that ends with a zero unit, also where `len` units are asked for: the measuring
    /// walks to that zero. A negative `len` takes all units before it, 65536 at the most. Lone
    /// surrogates become three bytes each.
    SoString(const unsigned short* s, long len);
    SoString& operator=(const SoString& other);
    ~SoString() override;

    /// Replaces the content; returns `data`. The text may lie inside this string.
    char* assign(const char* s, long len);
    /// Appends bytes, which may lie inside this string.
    void append(const char* s, long len);
    /// Appends the number in decimal, a negative one as its unsigned 32-bit reading.
    void append(long n);
    /// Cuts the content to `n` bytes; does nothing where it has no more than that.
    void shrink(long n);

    /// As strcmp: the content up to its first NUL against `s`; null compares as "".
    int compare(const char* s) const;

    /// Writes UTF-16 to `out`, which has room for two units for each of `max` code points. Returns
    /// where the closing zero unit stands, or null where `max` ran out before the text did: then
    /// nothing closes it. A stray continuation byte fills what is left of `max` with U+FFFD; a
    /// sequence that the end of the text cuts off reads as if zeros followed.
    unsigned short* convertToUtf16(unsigned short* out, unsigned long max) const;

    /// A copy with every byte up to the first NUL through tolower or toupper.
    SoString lowercase() const;
    SoString uppercase() const;
};

/// Exact comparison of all bytes, embedded NULs included.
bool operator==(const SoString& a, const SoString& b);
bool operator!=(const SoString& a, const SoString& b);

/// Each appends to the left string and returns it.
SoString& operator<<(SoString& to, const SoString& text);
SoString& operator<<(SoString& to, char c);
SoString& operator<<(SoString& to, const char* text);
SoString& operator<<(SoString& to, unsigned long n);
SoString& operator<<(SoString& to, long n);    ///< as append(long)
SoString& operator<<(SoString& to, double n);  ///< rounded to a whole number

/// Writes the UTF-8 form of a code point to `out` (room for 6 bytes) and returns how many bytes it
/// has. Surrogates are encoded like any other value; 0x7FFFFFFF and above become U+FFFD.
unsigned long EncodeUTF8(unsigned long cp, unsigned char* out);

}  // namespace Vexil
