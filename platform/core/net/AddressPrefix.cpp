#include "platform/core/net/AddressPrefix.h"

#include <algorithm>

namespace tavik {
namespace {

/// Whether the path has a step that is "." or "..", also with its dots percent-encoded.
bool hasDotStep(std::string_view address) {
    std::string_view rest = address.substr(0, address.find('?'));
    while (!rest.empty()) {
        std::string step(rest.substr(0, rest.find('/')));
        rest.remove_prefix(std::min(rest.size(), step.size() + 1));
        for (const char* dot : {"%2e", "%2E"})
            for (std::size_t at = step.find(dot); at != std::string::npos; at = step.find(dot))
                step.replace(at, 3, ".");
        if (step == "." || step == "..")
            return true;
    }
    return false;
}

}  // namespace

AddressPrefix AddressPrefix::parse(std::string_view text) {
    const Address address = Address::parse(text);
    if (!address.query().empty())
        throw AddressError("has a query");
    AddressPrefix prefix;
    prefix.text_ = address.text();
    if (hasDotStep(prefix.text_))
        throw AddressError("has a step \".\" or \"..\" in it");
    return prefix;
}

bool AddressPrefix::covers(const Address& address) const {
    const std::string text = address.text();
    if (hasDotStep(text))
        return false;
    return isFolder() ? text.compare(0, text_.size(), text_) == 0 : text == text_;
}

Address Redirect::apply(const Address& address) const {
    return Address::parse(to.text() + address.text().substr(from.text().size()));
}

}  // namespace tavik
