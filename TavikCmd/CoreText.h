#pragma once

#include <LibTavikCoreLib.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

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

/// `count` zeroed elements for the core to fill. Unlike a vector's, their address is never null: a
/// core may refuse a null array even where it has nothing to fill.
template <typename Element>
class CoreArray {
  public:
    explicit CoreArray(unsigned long count)
        : elements(std::make_unique<Element[]>(count)), size(count) {}

    Element* data() { return elements.get(); }
    unsigned long count() const { return size; }
    const Element* begin() const { return elements.get(); }
    const Element* end() const { return begin() + size; }

  private:
    std::unique_ptr<Element[]> elements;
    unsigned long size;
};

/// Room for the names of `count` products, zeroed, 64 bytes each.
class ProductNames {
  public:
    explicit ProductNames(unsigned long count);

    /// The list of buffers, as the core takes it.
    char** list() { return pointers.data(); }
    char* buffer(std::size_t index) { return list()[index]; }

    unsigned long count() const { return buffers.count(); }
    std::string operator[](std::size_t index) const;

  private:
    using Buffer = std::array<char, 64>;
    CoreArray<Buffer> buffers;
    CoreArray<char*> pointers;  // one to each buffer
};
