// Feeds arbitrary bytes to everything that reads a feed or a detached signature.

#include <cstdint>
#include <string_view>

#include "platform/core/crypto/DetachedSignature.h"
#include "platform/core/updates/Offer.h"
#include "platform/support/Error.h"
#include "tests/fuzz/Fuzz.h"

namespace {

using tavik::require;

/// What is taken from a feed can be found again, compared and fetched.
void readFeed(std::string_view text) try {
    const auto feed = tavik::parseFeed(text, tavik::Address::parse("https://e.com/v/feed.json"));
    for (const auto& item : feed.items) {
        const auto range = tavik::itemsOf(feed, item.idKey);
        require(&*range.begin() <= &item &&
                &item < &*range.begin() + (range.end() - range.begin()));
        require(item.blocked || (!item.mirrors.empty() && item.sha256.size() == 64));
        for (const auto& mirror : item.mirrors)
            require(tavik::Address::parse(mirror.text()).text() == mirror.text());
        tavik::UpdatableExtension installed;
        installed.idKey = item.idKey;
        tavik::chooseUpdate(feed, installed, {});
    }
} catch (const tavik::Error&) {
}

/// The examples' signatures are not over this message: none may pass.
void readSignature(std::string_view text) try {
    tavik::signerOf("another message", text);
    require(false);
} catch (const tavik::Ed25519Error&) {
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    readFeed(text);
    readSignature(text);
    return 0;
}
