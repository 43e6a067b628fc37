#include "tools/qpk/FeedDocument.h"

#include "platform/core/net/Address.h"
#include "platform/support/Json.h"

namespace tavik::qpk {
namespace {

constexpr int kFormatVersion = 1;

std::string textMember(const char* name, const std::string& value) {
    return quoteJson(name) + ": " + quoteJson(value);
}

std::string productJson(const ProductRequirement& product) {
    std::string json = "{ " + textMember("name", product.name);
    if (product.minVersion)
        json += ", " + textMember("minVersion", product.minVersion->text());
    if (product.maxVersion)
        json += ", " + textMember("maxVersion", product.maxVersion->text());
    return json + " }";
}

std::string packageJson(const FeedPackage& package) {
    const Manifest& manifest = package.manifest;
    std::string products;
    for (const ProductRequirement& product : manifest.products)
        products += (products.empty() ? "" : ", ") + productJson(product);
    const std::string margin = ",\n      ";
    return "    {\n      " + textMember("id", manifest.id) + margin +
           textMember("name", manifest.name) + margin +
           textMember("version", manifest.version.text()) + margin + "\"products\": [" + products +
           "]" + margin + textMember("url", percentEncoded(package.fileName)) + margin +
           "\"size\": " + std::to_string(package.size) + margin +
           textMember("sha256", package.sha256) +
           (package.blocked ? margin + textMember("blocked", *package.blocked) : std::string()) +
           "\n    }";
}

std::string withdrawnJson(const WithdrawnVersion& withdrawn) {
    return "    { " + textMember("id", withdrawn.id) + ", " +
           textMember("version", withdrawn.version) + ", " +
           textMember("blocked", withdrawn.reason) + " }";
}

}  // namespace

std::string writeFeed(const FeedDocument& feed) {
    std::string json = "{\n  \"formatVersion\": " + std::to_string(kFormatVersion) +
                       ",\n  \"serial\": " + std::to_string(feed.serial) +
                       (feed.restarts ? ",\n  \"restarts\": true,\n  " : ",\n  ") +
                       textMember("expires", feed.expires) + ",\n  \"extensions\": [";
    const char* separator = "\n";
    for (const FeedPackage& package : feed.packages) {
        json += separator + packageJson(package);
        separator = ",\n";
    }
    for (const WithdrawnVersion& withdrawn : feed.withdrawn) {
        json += separator + withdrawnJson(withdrawn);
        separator = ",\n";
    }
    return json + "\n  ]\n}\n";
}

}  // namespace tavik::qpk
