#pragma once

#include <cstring>
#include <string>

namespace norva::zephal {

/// The two halves of a two-call text.
inline unsigned long textSize(const std::string& text) {
    return text.size() + 1;
}

inline void copyText(const std::string& text, char* buffer) {
    std::memcpy(buffer, text.c_str(), textSize(text));
}

}  // namespace norva::zephal
