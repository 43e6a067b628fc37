#pragma once

#include <string.h>

#include <string>

namespace tavik {

/// A text that is overwritten before its memory is given back, and that no message takes.
class Secret {
  public:
    Secret() = default;
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;
    ~Secret() { wipe(); }

    const std::string& reveal() const noexcept { return text_; }
    bool empty() const noexcept { return text_.empty(); }

    /// Takes `text` over; its old place is overwritten too.
    void set(std::string&& text) {
        wipe();
        text_.swap(text);
        explicit_bzero(text.data(), text.capacity());
    }

    void wipe() noexcept {
        explicit_bzero(text_.data(), text_.capacity());
        text_.clear();
    }

  private:
    std::string text_;
};

}  // namespace tavik
