#include "platform/core/package/Manifest.h"

#include <algorithm>
#include <set>

#include "platform/support/Text.h"

namespace tavik {
namespace {

constexpr int kFormatVersion = 1;
constexpr std::size_t kAnyLength = std::string::npos;

void reportFault(const FaultSink& report, Status status, const std::string& text,
                 const std::string& member) {
    report({status, std::string(kManifestPath), text, member});
}

JsonComplaint complaintTo(const FaultSink& report) {
    return [&report](const std::string& place, const std::string& fault) {
        reportFault(report, Status::manifestInvalid, complaintText(place, fault), place);
    };
}

/// A text in one line.
std::string readLine(const JsonObject& object, std::string_view member,
                     std::size_t maxBytes = kAnyLength) {
    std::string text = object.text(member).value_or("");
    if (!isPrintableText(text))
        object.complain(member, "has control characters or others that nobody sees");
    else if (text.size() > maxBytes)
        object.complain(member, "has more than " + std::to_string(maxBytes) + " bytes");
    else
        return text;
    return {};
}

std::string readName(const JsonObject& object, std::string_view member, std::size_t maxBytes) {
    const JsonValue* value = object.need(member);
    if (value == nullptr)
        return {};
    std::string name = readLine(object, member, maxBytes);
    // readLine has complained about a name that it refused, and returned "".
    if (value->IsString() && name.size() == value->GetStringLength() && !isNameText(name))
        object.complain(member, name.empty() ? "is empty" : "has nothing but blanks");
    return name;
}

/// A text that may have several lines.
std::string readParagraph(const JsonObject& object, std::string_view member) {
    std::string text = object.text(member).value_or("");
    std::string visible = text;
    const auto isBreak = [](char c) { return c == '\n' || c == '\r' || c == '\t'; };
    visible.erase(std::remove_if(visible.begin(), visible.end(), isBreak), visible.end());
    if (isControlFree(visible))
        return text;
    object.complain(member, "has control characters other than line breaks and tabs");
    return {};
}

/// In a newer format any other member may mean something else, so checking stops here.
void readFormatVersion(const JsonObject& manifest, const FaultSink& report) {
    const JsonValue* value = manifest.need("formatVersion");
    if (value == nullptr)
        return;
    if (!value->IsNumber())
        manifest.complain("formatVersion", "is not a number");
    else if (!value->IsInt() || value->GetInt() != kFormatVersion)
        stopAt(report, {Status::packageUnsupported, std::string(kManifestPath),
                        "formatVersion is not " + std::to_string(kFormatVersion), "formatVersion"});
}

void readNeeds(const JsonObject& manifest, const FaultSink& report) {
    const JsonValue* needs = manifest.array("requires");
    if (needs == nullptr)
        return;
    for (const auto& need : needs->GetArray()) {
        if (!need.IsString())
            manifest.complain("requires", "has an entry that is not a string");
        else  // This version knows no value of `requires`.
            reportFault(report, Status::packageUnsupported,
                        "requires " + quoteName(viewOf(need)) + ", which this core does not know",
                        "requires");
    }
}

std::string readId(const JsonObject& manifest) {
    std::string id = readName(manifest, "id", kMaxIdBytes);
    if (id.empty() || isExtensionId(id))
        return id;
    manifest.complain("id", quoteName(id) +
                                " is not made of letters, digits, '.', '_' and '-' with a letter "
                                "or digit at both ends and no '..'");
    return {};
}

ProductRequirement readProduct(const JsonObject& object) {
    ProductRequirement product;
    product.name = readName(object, "name", kMaxProductNameBytes);
    product.minVersion = readVersion(object, "minVersion");
    product.maxVersion = readVersion(object, "maxVersion");
    if (product.minVersion && product.maxVersion && *product.maxVersion < *product.minVersion)
        object.complain("minVersion", product.minVersion->text() + " is above maxVersion " +
                                          product.maxVersion->text());
    return product;
}

/// Their number is bounded because every list of extensions looks at all of them.
std::vector<ProductRequirement> readProducts(const JsonObject& manifest) {
    const JsonValue* array = manifest.neededArray("products");
    if (array == nullptr)
        return {};
    if (array->Empty())
        manifest.complain("products", "is empty");
    if (array->Size() > kMaxProducts) {
        manifest.complain("products", "has more than " + std::to_string(kMaxProducts) + " entries");
        return {};
    }
    std::vector<ProductRequirement> products;
    std::set<std::string> names;
    std::size_t index = 0;
    for (const auto& value : array->GetArray()) {
        const JsonObject object = manifest.entry("products", value, index++);
        ProductRequirement product = readProduct(object);
        if (!product.name.empty() && !names.insert(product.name).second)
            object.complain("name", quoteName(product.name) + " is named twice");
        products.push_back(std::move(product));
    }
    return products;
}

JsonDocument parseObject(std::string_view bytes, const JsonLimits& limits,
                         const FaultSink& report) {
    const std::string place(kManifestPath);
    if (bytes.size() > limits.bytes)
        stopAt(report, {Status::packageTooLarge, place,
                        "has more than " + std::to_string(limits.bytes) + " bytes"});
    JsonDocument document;
    try {
        document = parseJson(bytes, limits);
    } catch (const JsonError& error) {
        stopAt(report, {Status::manifestInvalid, place, oneLine(error.what())});
    }
    if (!document.IsObject())
        stopAt(report, {Status::manifestInvalid, place, "is not a JSON object"});
    return document;
}

}  // namespace

std::optional<Version> readVersion(const JsonObject& object, std::string_view member) {
    const auto text = object.text(member);
    if (!text)
        return std::nullopt;
    auto version = Version::parse(*text);
    if (!version)
        object.complain(member, quoteName(*text) + " is no version such as 1.4.0 or 2.0-beta.1");
    return version;
}

bool isExtensionId(std::string_view text) noexcept {
    const auto isAllowed = [](char c) {
        return isAlphanumeric(c) || c == '.' || c == '_' || c == '-';
    };
    return !text.empty() && text.size() <= kMaxIdBytes && isAlphanumeric(text.front()) &&
           isAlphanumeric(text.back()) && std::all_of(text.begin(), text.end(), isAllowed) &&
           text.find("..") == std::string_view::npos;
}

std::string toIdKey(std::string_view id) {
    return toLowerAscii(id);
}

Manifest parseManifest(std::string_view bytes, const JsonLimits& limits, const FaultSink& report) {
    const JsonDocument document = parseObject(bytes, limits, report);
    const JsonObject object(document, "", complaintTo(report));
    readFormatVersion(object, report);
    readNeeds(object, report);
    Manifest manifest;
    manifest.id = readId(object);
    manifest.idKey = toIdKey(manifest.id);
    manifest.name = readName(object, "name", kMaxNameBytes);
    if (object.need("version") != nullptr)
        manifest.version = readVersion(object, "version").value_or(Version());
    manifest.products = readProducts(object);
    manifest.storeName = readLine(object, "storeName", kMaxStoreNameBytes);
    manifest.description = readParagraph(object, "description");
    manifest.author = readLine(object, "author");
    manifest.license = readLine(object, "license");
    manifest.homepage = readLine(object, "homepage");
    manifest.updateUrl = readLine(object, "updateUrl");
    manifest.requiresAccount = object.flag("requiresAccount").value_or(false);
    return manifest;
}

}  // namespace tavik
