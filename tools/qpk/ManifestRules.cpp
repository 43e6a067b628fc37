#include "tools/qpk/ManifestRules.h"

#include "platform/core/net/Address.h"
#include "platform/core/package/Manifest.h"
#include "platform/support/JsonObject.h"

namespace tavik::qpk {
namespace {

/// Only what is a string: the core reports everything else.
std::string textOf(const JsonObject& object, std::string_view member) {
    const JsonValue* value = object.find(member);
    return value != nullptr && value->IsString() ? std::string(viewOf(*value)) : std::string();
}

void checkUpdateUrl(const JsonObject& manifest) {
    const std::string url = textOf(manifest, "updateUrl");
    if (url.empty())
        return;
    try {
        Address::parse(url);
    } catch (const AddressError& error) {
        manifest.complain("updateUrl", error.what());
    }
}

void checkHomepage(const JsonObject& manifest) {
    const std::string page = textOf(manifest, "homepage");
    if (!page.empty() && page.rfind("https://", 0) != 0 && page.rfind("http://", 0) != 0)
        manifest.complain("homepage", "begins with neither https:// nor http://");
}

/// The XML listing of extensions has their texts as they are.
void checkXmlText(const JsonObject& manifest, std::string_view member) {
    if (textOf(manifest, member).find_first_of("<&\"") != std::string::npos)
        manifest.complain(member, "has one of < & \" and would break the XML that lists it");
}

void checkProducts(const JsonObject& manifest) {
    const JsonValue* products = manifest.find("products");
    if (products == nullptr || !products->IsArray())
        return;
    std::size_t index = 0;
    for (const auto& value : products->GetArray()) {
        if (value.IsObject())
            manifest.entry("products", value, index)
                .allowOnly({"name", "minVersion", "maxVersion"});
        ++index;
    }
}

}  // namespace

void checkManifestRules(std::string_view bytes, const JsonLimits& limits, const FaultSink& report) {
    JsonDocument document;
    try {
        document = parseJson(bytes, limits);
    } catch (const JsonError&) {
        return;
    }
    if (!document.IsObject())
        return;
    const JsonObject manifest(
        document, "", [&](const std::string& place, const std::string& fault) {
            report(
                {Status::manifestInvalid, std::string(kManifestPath), complaintText(place, fault)});
        });
    manifest.allowOnly({"formatVersion", "id", "name", "version", "products", "storeName",
                        "description", "author", "license", "homepage", "requiresAccount",
                        "updateUrl", "requires"});
    checkProducts(manifest);
    checkUpdateUrl(manifest);
    checkHomepage(manifest);
    checkXmlText(manifest, "name");
    checkXmlText(manifest, "storeName");
}

}  // namespace tavik::qpk
