#include "platform/core/updates/Feed.h"

#include <algorithm>
#include <charconv>
#include <ctime>

#include "platform/core/package/Fault.h"
#include "platform/core/status/Status.h"
#include "platform/core/updates/VersionOrder.h"
#include "platform/support/Json.h"
#include "platform/support/Text.h"

namespace tavik {
namespace {

constexpr int kFormatVersion = 1;
constexpr std::size_t kMaxFeedBytes = std::size_t{8} << 20;
constexpr std::int64_t kMaxExactNumber = std::int64_t{1} << 53;  // beyond it readers may round
constexpr std::size_t kMaxFeedItems = 10'000;
constexpr std::size_t kMaxMirrors = 20;
constexpr std::size_t kDigestDigits = 64;

[[noreturn]] void refuse(const std::string& place, const std::string& fault) {
    throw JsonError(place + " " + fault);
}

const rapidjson::Value& required(const rapidjson::Value& object, const char* member,
                                 const std::string& place) {
    const rapidjson::Value* value = findMember(object, member);
    if (value == nullptr)
        refuse(place + "." + member, "is missing");
    return *value;
}

const rapidjson::Value& requiredArray(const rapidjson::Value& object, const char* member,
                                      const std::string& place) {
    const rapidjson::Value& value = required(object, member, place);
    if (!value.IsArray())
        refuse(place + "." + member, "is not an array");
    return value;
}

std::int64_t requiredNumber(const rapidjson::Value& object, const char* member,
                            const std::string& place) {
    const rapidjson::Value& value = required(object, member, place);
    if (!value.IsInt64() || value.GetInt64() < 0 || value.GetInt64() > kMaxExactNumber)
        refuse(place + "." + member, "is not a whole number from 0 to 2^53");
    return value.GetInt64();
}

std::string printableText(const rapidjson::Value& object, const char* member,
                          const std::string& place, std::size_t maxBytes) {
    std::string text = requiredText(object, member, place);
    if (text.empty() || text.size() > maxBytes || !isPrintableText(text))
        refuse(place + "." + member,
               "is not a text of 1 to " + std::to_string(maxBytes) + " bytes in one line");
    return text;
}

/// The two or four digits at `at`.
int digits(std::string_view text, std::size_t at, std::size_t count) {
    int number = 0;
    const char* end = text.data() + at + count;
    const auto [stop, error] = std::from_chars(text.data() + at, end, number);
    return error == std::errc() && stop == end && number >= 0 ? number : -1;
}

/// "2027-06-01T00:00:00Z", and no other form.
std::int64_t parseTime(const std::string& text, const std::string& place) {
    constexpr std::string_view kForm = "0000-00-00T00:00:00Z";
    std::string form = text;
    for (char& c : form)
        c = c >= '0' && c <= '9' ? '0' : c;
    if (form != kForm)
        refuse(place, "is not a time such as 2027-06-01T00:00:00Z");
    std::tm time{};
    time.tm_year = digits(text, 0, 4) - 1900;
    time.tm_mon = digits(text, 5, 2) - 1;
    time.tm_mday = digits(text, 8, 2);
    time.tm_hour = digits(text, 11, 2);
    time.tm_min = digits(text, 14, 2);
    time.tm_sec = digits(text, 17, 2);
    const std::tm written = time;
    const std::int64_t seconds = ::timegm(&time);
    // A 31st of June comes back as another day.
    if (time.tm_mon != written.tm_mon || time.tm_mday != written.tm_mday ||
        time.tm_hour != written.tm_hour || time.tm_min != written.tm_min ||
        time.tm_sec != written.tm_sec)
        refuse(place, "is no date and time that exists");
    return seconds;
}

std::optional<Version> optionalVersion(const rapidjson::Value& object, const char* member,
                                       const std::string& place) {
    const auto text = optionalText(object, member, place);
    if (!text)
        return std::nullopt;
    auto version = Version::parse(*text);
    if (!version)
        refuse(place + "." + member, quoteName(*text) + " is no version");
    return version;
}

std::vector<ProductRequirement> readProducts(const rapidjson::Value& item,
                                             const std::string& place) {
    std::vector<ProductRequirement> products;
    for (const auto& value : requiredArray(item, "products", place).GetArray()) {
        const std::string here = place + ".products[" + std::to_string(products.size()) + "]";
        if (!value.IsObject())
            refuse(here, "is not an object");
        products.push_back({printableText(value, "name", here, kMaxProductNameBytes),
                            optionalVersion(value, "minVersion", here),
                            optionalVersion(value, "maxVersion", here)});
    }
    if (products.empty())
        refuse(place + ".products", "is empty");
    return products;
}

Address readMirror(const rapidjson::Value& value, const std::string& place, const Address& base) {
    if (!value.IsString() || value.GetStringLength() == 0)
        refuse(place, "is not an address");
    try {
        return base.follow({value.GetString(), value.GetStringLength()});
    } catch (const AddressError& error) {
        refuse(place, error.what());
    }
}

std::vector<Address> readMirrors(const rapidjson::Value& item, const std::string& place,
                                 const Address& base) {
    const rapidjson::Value& value = required(item, "url", place);
    const std::string here = place + ".url";
    if (!value.IsArray())
        return {readMirror(value, here, base)};
    if (value.Empty() || value.Size() > kMaxMirrors)
        refuse(here, "has not 1 to " + std::to_string(kMaxMirrors) + " entries");
    std::vector<Address> mirrors;
    for (const auto& mirror : value.GetArray())
        mirrors.push_back(
            readMirror(mirror, here + "[" + std::to_string(mirrors.size()) + "]", base));
    return mirrors;
}

std::string readDigest(const rapidjson::Value& item, const std::string& place) {
    std::string digest = requiredText(item, "sha256", place);
    for (char& c : digest)
        c = c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
    const auto isDigit = [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); };
    if (digest.size() != kDigestDigits || !std::all_of(digest.begin(), digest.end(), isDigit))
        refuse(place + ".sha256", "is not 64 hexadecimal digits");
    return digest;
}

void readIdentity(FeedItem& item, const rapidjson::Value& value, const std::string& place) {
    item.id = requiredText(value, "id", place);
    if (!isExtensionId(item.id))
        refuse(place + ".id", quoteName(item.id) + " is no extension id");
    item.idKey = toIdKey(item.id);
    const std::string version = requiredText(value, "version", place);
    const auto parsed = Version::parse(version);
    if (!parsed)
        refuse(place + ".version", quoteName(version) + " is no version");
    item.version = *parsed;
}

/// Why the version is blocked. That it is blocked is what counts: a reason that is missing, too
/// long or no text must not let it through.
std::string readReason(const rapidjson::Value& item) {
    const rapidjson::Value& value = *findMember(item, "blocked");
    const std::string_view reason =
        value.IsString() ? std::string_view(value.GetString(), value.GetStringLength())
                         : std::string_view();
    const bool isShown =
        !reason.empty() && reason.size() <= kMaxReasonBytes && isPrintableText(reason);
    return isShown ? std::string(reason) : "for a reason that cannot be shown";
}

/// Fills the item as far as it is right, so that a caller who catches the fault knows its id.
void readItem(FeedItem& item, const rapidjson::Value& value, const std::string& place,
              const Address& base) {
    if (!value.IsObject())
        refuse(place, "is not an object");
    readIdentity(item, value, place);
    // Whatever else is wrong with it, a version that must not be installed is to be known.
    if (findMember(value, "blocked") != nullptr) {
        item.blocked = readReason(value);
        return;
    }
    if (findMember(value, "name") != nullptr)
        printableText(value, "name", place, kMaxNameBytes);
    item.products = readProducts(value, place);
    item.mirrors = readMirrors(value, place, base);
    item.size = static_cast<std::uint64_t>(requiredNumber(value, "size", place));
    if (item.size == 0)
        refuse(place + ".size", "is 0");
    item.sha256 = readDigest(value, place);
}

void readItems(Feed& feed, const rapidjson::Value& document, const Address& base) {
    const rapidjson::Value& items = requiredArray(document, "extensions", "$");
    if (items.Size() > kMaxFeedItems)
        refuse("$.extensions", "has more than " + std::to_string(kMaxFeedItems) + " entries");
    feed.items.reserve(items.Size());
    std::size_t number = 0;
    for (const auto& value : items.GetArray()) {
        const std::string place = "$.extensions[" + std::to_string(number++) + "]";
        FeedItem item;
        try {
            readItem(item, value, place, base);
            feed.items.push_back(std::move(item));
        } catch (const JsonError& error) {
            feed.warnings.push_back({item.idKey, oneLine(error.what())});
        }
    }
    std::stable_sort(feed.items.begin(), feed.items.end(), DigestOrder());
}

Feed readFeed(const rapidjson::Value& document, const Address& base) {
    if (!document.IsObject())
        refuse("$", "is not an object");
    const rapidjson::Value& format = required(document, "formatVersion", "$");
    if (!format.IsInt() || format.GetInt() != kFormatVersion)
        refuse("$.formatVersion", "is not " + std::to_string(kFormatVersion));
    Feed feed;
    feed.serial = requiredNumber(document, "serial", "$");
    feed.expiresText = requiredText(document, "expires", "$");
    feed.expires = parseTime(feed.expiresText, "$.expires");
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
