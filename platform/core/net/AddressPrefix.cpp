#include "platform/core/net/AddressPrefix.h"

namespace tavik {
AddressPrefix AddressPrefix::parse(std::string_view text) {
    const Address address = Address::parse(text);
    if (!address.query().empty())
        throw AddressError("has a query");
    AddressPrefix prefix;
    prefix.text_ = address.text();
    return prefix;
}

bool AddressPrefix::covers(const Address& address) const {
    const std::string text = address.text();
    return isFolder() ? text.compare(0, text_.size(), text_) == 0 : text == text_;
}

Address Redirect::apply(const Address& address) const {
    return Address::parse(to.text() + address.text().substr(from.text().size()));
}

}  // namespace tavik
