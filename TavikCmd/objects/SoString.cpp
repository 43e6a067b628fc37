#include "objects/SoString.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <limits>

namespace Vexil {
namespace {

/// The longest text whose capacity still fits in 32 bits.
constexpr long kMaxLength = std::numeric_limits<std::int32_t>::max() - 128;

long resolveLength(const char* s, long len) {
    if (s == nullptr)
        return 0;
    return std::min(len < 0 ? static_cast<long>(std::strlen(s)) : len, kMaxLength);
}

std::int32_t capacityFor(long length) {
    return static_cast<std::int32_t>((length + 128) & ~127L);
}

char* allocate(std::int32_t capacity) {
    return static_cast<char*>(SoHeap::mallocHeap(static_cast<unsigned long>(capacity)));
}

void copyBytes(char* to, const char* from, long count) {
    if (count != 0)
        std::memmove(to, from, static_cast<std::size_t>(count));
}

template <typename Number>
void appendFormatted(SoString& to, const char* format, Number number) {
    std::array<char, 320> text{};  // the largest double has 309 digits
    const int size = std::snprintf(text.data(), text.size(), format, number);
    to.append(text.data(), size);
}

template <typename Mapping>
SoString mapped(const SoString& text, Mapping mapping) {
    SoString result(text);
    for (char* at = result.data; *at != '\0'; ++at)
        *at = static_cast<char>(mapping(static_cast<signed char>(*at)));
    return result;
}

}  // namespace

SoString::SoString() : data(allocate(128)), length(0), capacity(128) {
    *data = '\0';
}

SoString::SoString(char c) : data(allocate(128)), length(1), capacity(128) {
    data[0] = c;
    data[1] = '\0';
}

SoString::SoString(const char* s, long len) : data(nullptr), length(0), capacity(0) {
    assign(s, len);
}

SoString::SoString(const SoString& other) : SoHeap(other), data(nullptr), length(0), capacity(0) {
    assign(other.data, other.length);
}

SoString& SoString::operator=(const SoString& other) {
    if (this != &other)
        assign(other.data, other.length);
    return *this;
}

SoString::~SoString() {
    freeHeap(data);
}

char* SoString::assign(const char* s, long len) {
    len = resolveLength(s, len);
    // Text inside this string always fits its buffer, so the buffer it lies in is never freed here.
    if (capacity < len + 1) {
        capacity = capacityFor(len);
        freeHeap(data);
        data = allocate(capacity);
    }
    copyBytes(data, s, len);
    data[len] = '\0';
    length = static_cast<std::int32_t>(len);
    return data;
}

void SoString::append(const char* s, long len) {
    len = std::min(resolveLength(s, len), kMaxLength - length);
    const long newLength = length + len;
    char* old = nullptr;
    if (newLength >= capacity) {
        old = data;
        capacity = capacityFor(newLength);
        data = allocate(capacity);
        copyBytes(data, old, length + 1L);
    }
    if (len != 0) {
        copyBytes(data + length, s, len);
        data[newLength] = '\0';
        length = static_cast<std::int32_t>(newLength);
    }
    freeHeap(old);  // last: `s` may point into it
}

void SoString::append(long n) {
    const auto value = n < 0 ? static_cast<std::uint32_t>(n) : static_cast<unsigned long>(n);
    appendFormatted(*this, "%lu", value);
}

void SoString::shrink(long n) {
    if (n < 0 || n >= length)
        return;
    length = static_cast<std::int32_t>(n);
    data[n] = '\0';
}

int SoString::compare(const char* s) const {
    return std::strcmp(data, s == nullptr ? "" : s);
}

SoString SoString::lowercase() const {
    return mapped(*this, [](int c) { return std::tolower(c); });
}

SoString SoString::uppercase() const {
    return mapped(*this, [](int c) { return std::toupper(c); });
}

bool operator==(const SoString& a, const SoString& b) {
    return a.length == b.length &&
           std::memcmp(a.data, b.data, static_cast<std::size_t>(a.length)) == 0;
}

bool operator!=(const SoString& a, const SoString& b) {
    return !(a == b);
}

SoString& operator<<(SoString& to, const SoString& text) {
    to.append(text.data, text.length);
    return to;
}

SoString& operator<<(SoString& to, char c) {
    to.append(&c, 1);
    return to;
}

SoString& operator<<(SoString& to, const char* text) {
    to.append(text, -1);
    return to;
}

SoString& operator<<(SoString& to, unsigned long n) {
    appendFormatted(to, "%lu", n);
    return to;
}

SoString& operator<<(SoString& to, long n) {
    to.append(n);
    return to;
}

SoString& operator<<(SoString& to, double n) {
    appendFormatted(to, "%.0f", n);
    return to;
}

}  // namespace Vexil
