#pragma once

#include <LibTavikCoreLib.h>

#include <array>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

/// The core's form of a text query: handle, buffer size, buffer, size needed.
using TextQuery = int (*)(ExtensionHandle, unsigned long, char*, unsigned long*);

/// Copies a text whose size was asked for before: calls with a zeroed buffer of that size, which is
/// `spare` bytes longer than the core is told. Returns the call's status; `text` ends at the first
/// NUL and never runs past the buffer.
int copyText(TextQuery query, ExtensionHandle handle, unsigned long size, unsigned long spare,
             std::string& text);

/// Asks for the size and copies the text whatever the statuses; empty where there is none.
std::string textOf(TextQuery query, ExtensionHandle handle);

/// A text field of a record that the core filled, up to its NUL or its end.
template <std::size_t kSize>
std::string_view fieldText(const char (&field)[kSize]) {
    return {field, strnlen(field, kSize)};
}

/// Room for the names of `count` products, zeroed, 64 bytes each.
class ProductNames {
  public:
    explicit ProductNames(unsigned long count);
    ProductNames(const ProductNames&) = delete;
    ProductNames& operator=(const ProductNames&) = delete;

    /// The list of buffers, as the core takes it.
    char** list() { return pointers.data(); }
    char* buffer(std::size_t index) { return pointers[index]; }

    std::size_t count() const { return buffers.size(); }
    std::string operator[](std::size_t index) const;

  private:
    using Buffer = std::array<char, 64>;
    std::vector<Buffer> buffers;
    std::vector<char*> pointers;  // one to each buffer
};
