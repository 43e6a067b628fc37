// Feeds arbitrary bytes to the reader of policy.json, and asks the rules that were taken.

#include <cstdint>
#include <string_view>

#include "platform/core/policy/PolicyFile.h"
#include "platform/support/Json.h"
#include "tests/fuzz/Fuzz.h"

namespace tavik {
namespace {

constexpr const char* kIds[] = {"com.example.brushes", "com.example.labs.x", "a"};
constexpr const char* kFeeds[] = {"https://extensions.example.com/v/feed.json?a=b",
                                  "https://extensions.example.com/../x", "file:///srv/feed.json"};

/// A second file can only make a policy stricter, and the same file twice says the same.
void ask(const PolicyFile& file) {
    const Policy once = combine({file});
    const Policy twice = combine({file, file});
    PolicyFile denying;
    denying.allow.emplace();
    denying.feeds.emplace();
    const Policy stricter = combine({file, denying});
    for (const char* id : kIds) {
        require(once.allowsExtension(id) == twice.allowsExtension(id));
        require(!stricter.allowsExtension(id));
    }
    for (const char* text : kFeeds) {
        const Address feed = Address::parse(text);
        require(once.allowsFeed(feed) == twice.allowsFeed(feed));
        require(!stricter.allowsFeed(feed));
        try {
            const Address place = once.route(feed);
            require(Address::parse(place.text()).text() == place.text());
        } catch (const AddressError&) {
        }
    }
}

}  // namespace
}  // namespace tavik

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) try {
    tavik::ask(tavik::parsePolicyFile({reinterpret_cast<const char*>(data), size}));
    return 0;
} catch (const tavik::JsonError&) {
    return 0;
}
