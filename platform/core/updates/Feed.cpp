#include "platform/core/updates/Feed.h"

#include <algorithm>

#include "platform/core/package/Fault.h"
#include "platform/core/package/Manifest.h"
#include "platform/core/status/Status.h"
#include "platform/core/trust/Digests.h"
#include "platform/core/updates/VersionOrder.h"
#include "platform/support/JsonObject.h"
#include "platform/support/Text.h"
#include "platform/support/UtcTime.h"

namespace tavik {
namespace {

constexpr int kFormatVersion = 1;
constexpr std::size_t kMaxFeedBytes = std::size_t{8} << 20;
constexpr std::size_t kMaxFeedItems = 10'000;
constexpr std::size_t kMaxMirrors = 20;

std::int64_t readNumber(const JsonObject& object, std::string_view member) {
    return static_cast<std::int64_t>(object.neededNumber(member, 0, kMaxFeedSerial));
}

std::string readName(const JsonObject& object, std::string_view member, std::size_t maxBytes) {
    std::string text = object.neededText(member);
    if (text.size() > maxBytes || !isNameText(text))
        object.complain(member, "is not a text of 1 to " + std::to_string(maxBytes) +
                                    " bytes in one line that can be seen");
    return text;
}

std::vector<ProductRequirement> readProducts(const JsonObject& item) {
    std::vector<ProductRequirement> products;
    const JsonValue& array = *item.neededArray("products");
    if (array.Size() > kMaxProducts)
        item.complain("products", "has more than " + std::to_string(kMaxProducts) + " entries");
    for (const auto& value : array.GetArray()) {
        const JsonObject product = item.entry("products", value, products.size());
        products.push_back({readName(product, "name", kMaxProductNameBytes),
                            readVersion(product, "minVersion"),
                            readVersion(product, "maxVersion")});
    }
    if (products.empty())
        item.complain("products", "is empty");
    return products;
}

Address readMirror(const JsonValue& value, const std::string& place, const Address& base) {
    if (!value.IsString() || value.GetStringLength() == 0)
        throwJsonComplaint(place, "is not an address");
    try {
        return base.follow(viewOf(value));
    } catch (const AddressError& error) {
        throwJsonComplaint(place, error.what());
    }
}

std::vector<Address> readMirrors(const JsonObject& item, const Address& base) {
    const JsonValue& value = *item.need("url");
    const std::string place = item.place("url");
    if (!value.IsArray())
        return {readMirror(value, place, base)};
    if (value.Empty() || value.Size() > kMaxMirrors)
        throwJsonComplaint(place, "has not 1 to " + std::to_string(kMaxMirrors) + " entries");
    std::vector<Address> mirrors;
    for (const auto& mirror : value.GetArray())
        mirrors.push_back(readMirror(mirror, entryPlace(place, mirrors.size()), base));
    return mirrors;
}

std::string readDigest(const JsonObject& item) {
    auto digest = parseDigest(item.neededText("sha256"));
    if (!digest)
        item.complain("sha256", "is not 64 hexadecimal digits");
    return *std::move(digest);
}

void readIdentity(FeedItem& item, const JsonObject& object) {
    item.id = object.neededText("id");
    if (!isExtensionId(item.id))
        object.complain("id", quoteName(item.id) + " is no extension id");
    item.idKey = toIdKey(item.id);
    object.need("version");
    item.version = *readVersion(object, "version");
}

/// Why the version is blocked. It stays blocked even if the reason is missing, too long or no text.
std::string readReason(const JsonValue& value) {
    const std::string_view reason = value.IsString() ? viewOf(value) : std::string_view();
    const bool isShown = reason.size() <= kMaxReasonBytes && isNameText(reason);
    return isShown ? std::string(reason) : "for a reason that cannot be shown";
}

/// Fills the item as far as it is right, so that a caller who catches the fault knows its id.
void readItem(FeedItem& item, const JsonObject& object, const Address& base) {
    readIdentity(item, object);
    // Read first: a blocked version must be known even if the rest of the item is wrong.
    if (const JsonValue* blocked = object.find("blocked")) {
        item.blocked = readReason(*blocked);
        return;
    }
    if (object.find("name") != nullptr)
        item.name = readName(object, "name", kMaxNameBytes);
    item.products = readProducts(object);
    item.mirrors = readMirrors(object, base);
    item.size = static_cast<std::uint64_t>(readNumber(object, "size"));
    if (item.size == 0)
        object.complain("size", "is 0");
    item.sha256 = readDigest(object);
}

void readItems(Feed& feed, const JsonObject& document, const Address& base) {
    const JsonValue& items = *document.neededArray("extensions");
    if (items.Size() > kMaxFeedItems)
        document.complain("extensions",
                          "has more than " + std::to_string(kMaxFeedItems) + " entries");
    feed.items.reserve(items.Size());
    std::size_t number = 0;
    for (const auto& value : items.GetArray()) {
        FeedItem item;
        try {
            readItem(item, document.entry("extensions", value, number++), base);
            feed.items.push_back(std::move(item));
        } catch (const JsonError& error) {
            feed.warnings.push_back({item.idKey, oneLine(error.what())});
        }
    }
    std::stable_sort(feed.items.begin(), feed.items.end(), DigestOrder());
}

Feed readFeed(const JsonValue& value, const Address& base) {
    const JsonObject document(value, "$");
    document.neededNumber("formatVersion", kFormatVersion, kFormatVersion);
    Feed feed;
    feed.serial = readNumber(document, "serial");
    feed.restarts = document.flag("restarts").value_or(false);
    feed.expiresText = document.neededText("expires");
    const auto expires = parseUtcTime(feed.expiresText);
    if (!expires)
        document.complain("expires", "is not a time such as 2027-06-01T00:00:00Z");
    feed.expires = *expires;
    readItems(feed, document, base);
    return feed;
}

}  // namespace

Feed parseFeed(std::string_view text, const Address& base) try {
    JsonLimits limits;
    limits.bytes = kMaxFeedBytes;
    return readFeed(parseJson(text, limits), base);
} catch (const JsonError& error) {
    fail(Status::feedInvalid, base.text(), oneLine(error.what()));
}

}  // namespace tavik
