#pragma once

#include <string>
#include <string_view>

#include "platform/core/net/Address.h"

namespace tavik {

/// The addresses that begin alike: one that ends in a slash covers all behind it, any other covers
/// itself alone. The host is always compared as a whole.
class AddressPrefix {
  public:
    /// Throws AddressError, also for one with a query.
    static AddressPrefix parse(std::string_view text);

    bool covers(const Address& address) const;

    /// Whether it covers more than one address.
    bool isFolder() const noexcept { return text_.back() == '/'; }

    const std::string& text() const noexcept { return text_; }

  private:
    std::string text_;
};

/// Fetches what one prefix covers from another place.
struct Redirect {
    AddressPrefix from;
    AddressPrefix to;

    /// The address below `to` that stands for one that `from` covers. Throws AddressError where
    /// there is none: a query cannot lead to a file.
    Address apply(const Address& address) const;
};

}  // namespace tavik
