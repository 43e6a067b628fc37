#include "tools/qpk/ManifestRules.h"

#include <algorithm>
#include <initializer_list>

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
    if (!page.empty() && !isWebAddress(page))
        manifest.complain("homepage", "begins with neither https:// nor http://");
}

/// The XML listing of extensions has their texts as they are.
void checkXmlText(const JsonObject& manifest, std::string_view member) {
    if (textOf(manifest, member).find_first_of("<&\"") != std::string::npos)
        manifest.complain(member, "has one of < & \" and would break the XML that lists it");
}

/// Unlike JsonObject's, these faults have the place of the unknown member.
void allowOnly(const JsonValue& object, const std::string& place,
               std::initializer_list<std::string_view> known, const FaultSink& report) {
    for (const auto& member : object.GetObject()) {
        const std::string_view name = viewOf(member.name);
        if (std::find(known.begin(), known.end(), name) == known.end())
            report({Status::manifestInvalid, std::string(kManifestPath),
                    complaintText(place, unknownMember(name)),
                    (place.empty() ? "" : place + ".") + std::string(name)});
    }
}

void checkProducts(const JsonObject& manifest, const FaultSink& report) {
    const JsonValue* products = manifest.find("products");
    if (products == nullptr || !products->IsArray())
        return;
    std::size_t index = 0;
    for (const auto& value : products->GetArray()) {
        if (value.IsObject())
            allowOnly(value, entryPlace("products", index), {"name", "minVersion", "maxVersion"},
                      report);
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
    const JsonObject manifest(document, "",
                              [&](const std::string& place, const std::string& fault) {
                                  report({Status::manifestInvalid, std::string(kManifestPath),
                                          complaintText(place, fault), place});
                              });
    allowOnly(document, "",
              {"formatVersion", "id", "name", "version", "products", "storeName", "description",
               "author", "license", "homepage", "requiresAccount", "updateUrl", "requires"},
              report);
    checkProducts(manifest, report);
    checkUpdateUrl(manifest);
    checkHomepage(manifest);
    checkXmlText(manifest, "name");
    checkXmlText(manifest, "storeName");
}

bool isWebAddress(std::string_view text) noexcept {
    return text.rfind("https://", 0) == 0 || text.rfind("http://", 0) == 0;
}

}  // namespace tavik::qpk
