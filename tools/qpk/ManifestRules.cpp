#include "tools/qpk/ManifestRules.h"

#include <algorithm>
#include <initializer_list>

#include "platform/core/net/Address.h"
#include "platform/core/package/Manifest.h"

namespace tavik::qpk {
namespace {

void reportFault(const FaultSink& report, const std::string& text) {
    report({Status::manifestInvalid, std::string(kManifestPath), text});
}

void checkMembers(const rapidjson::Value& object, const std::string& prefix,
                  std::initializer_list<std::string_view> known, const FaultSink& report) {
    for (const auto& member : object.GetObject()) {
        const std::string_view name(member.name.GetString(), member.name.GetStringLength());
        if (std::find(known.begin(), known.end(), name) == known.end())
            reportFault(report, prefix + oneLine(name) + " is a member that nobody reads");
    }
}

void checkUpdateUrl(const rapidjson::Value& manifest, const FaultSink& report) {
    const rapidjson::Value* url = findMember(manifest, "updateUrl");
    if (url == nullptr || !url->IsString() || url->GetStringLength() == 0)
        return;
    try {
        Address::parse({url->GetString(), url->GetStringLength()});
    } catch (const AddressError& error) {
        reportFault(report, std::string("updateUrl ") + error.what());
    }
}

void checkHomepage(const rapidjson::Value& manifest, const FaultSink& report) {
    const rapidjson::Value* page = findMember(manifest, "homepage");
    if (page == nullptr || !page->IsString() || page->GetStringLength() == 0)
        return;
    const std::string_view text(page->GetString(), page->GetStringLength());
    if (text.rfind("https://", 0) != 0 && text.rfind("http://", 0) != 0)
        reportFault(report, "homepage begins with neither https:// nor http://");
}

}  // namespace

void checkManifestRules(std::string_view bytes, const JsonLimits& limits, const FaultSink& report) {
    rapidjson::Document manifest;
    try {
        manifest = parseJson(bytes, limits);
    } catch (const JsonError&) {
        return;
    }
    if (!manifest.IsObject())
        return;
    checkMembers(manifest, "",
                 {"formatVersion", "id", "name", "version", "products", "storeName", "description",
                  "author", "license", "homepage", "requiresAccount", "updateUrl", "requires"},
                 report);
    const rapidjson::Value* products = findMember(manifest, "products");
    if (products != nullptr && products->IsArray())
        for (const auto& product : products->GetArray())
            if (product.IsObject())
                checkMembers(product, "products: ", {"name", "minVersion", "maxVersion"}, report);
    checkUpdateUrl(manifest, report);
    checkHomepage(manifest, report);
}

}  // namespace tavik::qpk
