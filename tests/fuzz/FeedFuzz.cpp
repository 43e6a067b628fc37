// Feeds arbitrary bytes to everything that reads a feed, a list of a package's content, or a
// signature. Start it with examples: what `qpk feed --key` makes.
//
//   cmake --preset fuzz && cmake --build --preset fuzz --target feed_fuzz
//   mkdir -p build/feeds && cp feed.json feed.json.sig build/feeds
//   build/fuzz/tests/feed_fuzz -max_total_time=120 build/feeds

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/core/crypto/DetachedSignature.h"
#include "platform/core/trust/ContentList.h"
#include "platform/core/updates/Offer.h"
#include "platform/support/Error.h"
#include "platform/support/Json.h"

namespace {

void require(bool condition) {
    if (!condition)
        std::abort();
}

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

/// A list that is taken says the same once it was written anew.
void readContentList(std::string_view text) try {
    const auto list = tavik::parseContentList(text, text.size());
    const std::string written = tavik::writeContentList(list);
    const auto again = tavik::parseContentList(written, written.size());
    require(again.size() == list.size() && tavik::writeContentList(again) == written);
} catch (const tavik::JsonError&) {
}

/// The examples' signatures are not over this message: none may pass.
void readSignature(std::string_view text) try {
    tavik::signerOf("another message", text);
    std::abort();
} catch (const tavik::Ed25519Error&) {
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    readFeed(text);
    readContentList(text);
    readSignature(text);
    return 0;
}
