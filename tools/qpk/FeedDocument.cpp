#include "tools/qpk/FeedDocument.h"

#include "platform/core/net/Address.h"
#include "platform/support/JsonText.h"

namespace tavik::qpk {
namespace {

constexpr int kFormatVersion = 1;

void writeProduct(JsonText& json, const ProductRequirement& product) {
    json.member("name", product.name);
    if (product.minVersion)
        json.member("minVersion", product.minVersion->text());
    if (product.maxVersion)
        json.member("maxVersion", product.maxVersion->text());
}

void writePackage(JsonText& json, const FeedPackage& package) {
    const Manifest& manifest = package.manifest;
    json.member("id", manifest.id);
    json.member("name", manifest.name);
    json.member("version", manifest.version.text());
    const auto writeProducts = [&] {
        for (const ProductRequirement& product : manifest.products)
            json.object([&] { writeProduct(json, product); });
    };
    json.list("products", writeProducts, JsonText::Form::oneLine);
    json.member("url", percentEncoded(package.fileName));
    json.number("size", static_cast<std::int64_t>(package.size));
    json.member("sha256", package.sha256);
    if (package.blocked)
        json.member("blocked", *package.blocked);
}

void writeWithdrawn(JsonText& json, const WithdrawnVersion& withdrawn) {
    json.member("id", withdrawn.id);
    json.member("version", withdrawn.version);
    json.member("blocked", withdrawn.reason);
}

}  // namespace

std::string writeFeed(const FeedDocument& feed) {
    JsonText json;
    json.number("formatVersion", kFormatVersion);
    json.number("serial", feed.serial);
    if (feed.restarts)
        json.boolean("restarts", true);
    json.member("expires", feed.expires);
    json.list("extensions", [&] {
        for (const FeedPackage& package : feed.packages)
            json.object([&] { writePackage(json, package); });
        for (const WithdrawnVersion& withdrawn : feed.withdrawn)
            json.object([&] { writeWithdrawn(json, withdrawn); }, JsonText::Form::oneLine);
    });
    return json.end();
}

}  // namespace tavik::qpk
