#pragma once

#include <string.h>

#include <optional>
#include <string>

#include "platform/support/Undumpable.h"

namespace tavik {

/// A text that is overwritten before its memory is given back, and that no message takes. While
/// there is one, the process cannot be looked into.
class Secret {
  public:
    Secret() = default;
    explicit Secret(std::string&& text) { set(std::move(text)); }
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
        if (!text_.empty())
            held_.emplace();
    }

    void wipe() noexcept {
        explicit_bzero(text_.data(), text_.capacity());
        text_.clear();
        held_.reset();
    }

  private:
    std::string text_;
    std::optional<Undumpable> held_;
};

}  // namespace tavik
