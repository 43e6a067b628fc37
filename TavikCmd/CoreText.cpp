#include "CoreText.h"

#include <new>

namespace {

/// Throws for a size that no text has, or that wraps around: the buffer would be shorter than the
/// core is told.
std::string zeroedBuffer(unsigned long size, unsigned long spare) {
    if (size + spare < size || size + spare > std::string().max_size())
        throw std::bad_alloc();
    return std::string(size + spare, '\0');
}

}  // namespace

int copyText(TextQuery query, ExtensionHandle handle, unsigned long size, unsigned long spare,
             std::string& text) {
    text = zeroedBuffer(size, spare);
    unsigned long sizeNow = size;
    const int status = query(handle, size, text.data(), &sizeNow);
    text.resize(strnlen(text.data(), text.size()));
    return status;
}

std::string textOf(TextQuery query, ExtensionHandle handle) {
    unsigned long size = 0;
    std::string text;
    query(handle, 0, nullptr, &size);
    copyText(query, handle, size, 0, text);
    return text;
}

ProductNames::ProductNames(unsigned long count) : buffers(count), pointers(count) {
    for (std::size_t i = 0; i < count; ++i)
        pointers.data()[i] = buffers.data()[i].data();
}

std::string ProductNames::operator[](std::size_t index) const {
    const Buffer& buffer = buffers.begin()[index];
    return {buffer.data(), strnlen(buffer.data(), buffer.size())};
}
