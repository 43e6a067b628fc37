// Feeds arbitrary texts to the readers of addresses. The first line is an address, the second one
// what a document or a server at that address names.

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "platform/core/net/AddressPrefix.h"
#include "tests/fuzz/Fuzz.h"

namespace tavik {
namespace {

/// What was taken reads the same again, and hides nothing that was to be refused.
void requireSound(const Address& address) {
    const std::string text = address.text();
    require(Address::parse(text).text() == text);
    const std::size_t host = text.find("//") + 2;
    require(text.substr(host, text.find('/', host) - host).find('@') == std::string::npos);
    if (address.scheme() == Address::Scheme::file)
        require(address.filePath().find('\0') == std::string::npos);
}

void readPrefix(std::string_view text, const Address& address) try {
    const AddressPrefix prefix = AddressPrefix::parse(text);
    if (!prefix.covers(address))
        return;
    require(address.text().compare(0, prefix.text().size(), prefix.text()) == 0);
    requireSound(Redirect{prefix, prefix}.apply(address));
} catch (const AddressError&) {
}

void follow(const Address& from, std::string_view reference) try {
    const Address target = from.follow(reference);
    requireSound(target);
    require(from.scheme() != Address::Scheme::https || target.scheme() == Address::Scheme::https);
    require(from.scheme() != Address::Scheme::http || target.scheme() != Address::Scheme::file);
} catch (const AddressError&) {
}

void readBoth(std::string_view first, std::string_view second) try {
    const Address address = Address::parse(first);
    requireSound(address);
    follow(address, second);
    readPrefix(second, address);
    requireSound(address.withPathSuffix(".sig" + percentEncoded(second.substr(0, 100))));
} catch (const AddressError&) {
}

}  // namespace
}  // namespace tavik

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::size_t end = std::min(text.find('\n'), size);
    tavik::readBoth(text.substr(0, end), text.substr(std::min(end + 1, size)));
    return 0;
}
