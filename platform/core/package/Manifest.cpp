#include "platform/core/package/Manifest.h"

#include <algorithm>

namespace tavik {
namespace {

constexpr int kFormatVersion = 1;
constexpr std::size_t kAnyLength = std::string::npos;

bool isLetterOrDigit(char c) noexcept {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// Reads the members of one object and reports what is wrong with them. What was reported reads as
/// if it were missing.
class Members {
  public:
    /// `prefix`: what stands before a member's name in a fault, e.g. "products[0].".
    Members(const rapidjson::Value& object, std::string prefix, const FaultSink& report)
        : object_(object), prefix_(std::move(prefix)), report_(report) {}

    void fault(std::string_view member, const std::string& text,
               Status status = Status::manifestInvalid) const {
        report_({status, std::string(kManifestPath), prefix_ + std::string(member) + ' ' + text});
    }

    const rapidjson::Value* find(std::string_view member) const {
        return findMember(object_, member);
    }

    const rapidjson::Value* findNeeded(std::string_view member) const {
        const rapidjson::Value* value = find(member);
        if (value == nullptr)
            fault(member, "is missing");
        return value;
    }

    std::string text(std::string_view member, std::size_t maxBytes) const {
        std::string value = anyText(member);
        if (!isPrintableText(value))
            fault(member, "has control characters");
        else if (value.size() > maxBytes)
            fault(member, "has more than " + std::to_string(maxBytes) + " bytes");
        else
            return value;
        return {};
    }

    std::string neededText(std::string_view member, std::size_t maxBytes) const {
        const rapidjson::Value* value = findNeeded(member);
        if (value == nullptr || !value->IsString() || value->GetStringLength() > 0)
            return text(member, maxBytes);
        fault(member, "is empty");
        return {};
    }

    /// A text that may have several lines.
    std::string paragraph(std::string_view member) const {
        std::string value = anyText(member);
        std::string visible = value;
        const auto isBreak = [](char c) { return c == '\n' || c == '\r' || c == '\t'; };
        visible.erase(std::remove_if(visible.begin(), visible.end(), isBreak), visible.end());
        if (isPrintableText(visible))
            return value;
        fault(member, "has control characters other than line breaks and tabs");
        return {};
    }

    std::optional<Version> version(std::string_view member) const {
        const rapidjson::Value* value = find(member);
        if (value == nullptr)
            return std::nullopt;
        if (!value->IsString()) {
            fault(member, "is not a string");
            return std::nullopt;
        }
        const std::string text = anyText(member);
        auto version = Version::parse(text);
        if (!version)
            fault(member, quoteName(text) + " is no version such as 1.4.0 or 2.0-beta.1");
        return version;
    }

    bool flag(std::string_view member) const {
        const rapidjson::Value* value = find(member);
        if (value == nullptr)
            return false;
        if (!value->IsBool())
            fault(member, "is not true or false");
        return value->IsTrue();
    }

    const rapidjson::Value* array(std::string_view member) const {
        const rapidjson::Value* value = find(member);
        if (value == nullptr || value->IsArray())
            return value;
        fault(member, "is not an array");
        return nullptr;
    }

  private:
    std::string anyText(std::string_view member) const {
        const rapidjson::Value* value = find(member);
        if (value == nullptr)
            return {};
        if (value->IsString())
            return {value->GetString(), value->GetStringLength()};
        fault(member, "is not a string");
        return {};
    }

    const rapidjson::Value& object_;
    std::string prefix_;
    const FaultSink& report_;
};

/// A newer form may give every other member another meaning, so nothing is judged behind it.
void readFormatVersion(const Members& members, const FaultSink& report) {
    const rapidjson::Value* value = members.findNeeded("formatVersion");
    if (value == nullptr)
        return;
    if (!value->IsNumber())
        members.fault("formatVersion", "is not a number");
    else if (!value->IsInt() || value->GetInt() != kFormatVersion)
        stopAt(report, {Status::packageUnsupported, std::string(kManifestPath),
                        "formatVersion is not " + std::to_string(kFormatVersion)});
}

void readNeeds(const Members& members) {
    const rapidjson::Value* needs = members.array("requires");
    if (needs == nullptr)
        return;
    for (const auto& need : needs->GetArray()) {
        if (!need.IsString())
            members.fault("requires", "has an entry that is not a string");
        else  // No need is known yet.
            members.fault("requires",
                          quoteName({need.GetString(), need.GetStringLength()}) +
                              ", which this core does not know",
                          Status::packageUnsupported);
    }
}

std::string readId(const Members& members) {
    std::string id = members.neededText("id", kMaxIdBytes);
    if (id.empty() || isExtensionId(id))
        return id;
    members.fault("id", quoteName(id) +
                            " is not made of letters, digits, '.', '_' and '-' with a letter or "
                            "digit at both ends and no '..'");
    return {};
}

ProductRequirement readProduct(const rapidjson::Value& value, const std::string& place,
                               const FaultSink& report) {
    ProductRequirement product;
    const Members members(value, place + ".", report);
    product.name = members.neededText("name", kMaxProductNameBytes);
    product.minVersion = members.version("minVersion");
    product.maxVersion = members.version("maxVersion");
    if (product.minVersion && product.maxVersion && *product.maxVersion < *product.minVersion)
        members.fault("minVersion", product.minVersion->text() + " is above maxVersion " +
                                        product.maxVersion->text());
    return product;
}

std::vector<ProductRequirement> readProducts(const Members& members, const FaultSink& report) {
    std::vector<ProductRequirement> products;
    if (members.findNeeded("products") == nullptr)
        return products;
    const rapidjson::Value* array = members.array("products");
    if (array == nullptr)
        return products;
    if (array->Empty())
        members.fault("products", "is empty");
    for (const auto& value : array->GetArray()) {
        const std::string place = "products[" + std::to_string(products.size()) + "]";
        if (value.IsObject())
            products.push_back(readProduct(value, place, report));
        else
            report(
                {Status::manifestInvalid, std::string(kManifestPath), place + " is not an object"});
    }
    return products;
}

rapidjson::Document parseObject(std::string_view bytes, const JsonLimits& limits,
                                const FaultSink& report) {
    const std::string place(kManifestPath);
    if (bytes.size() > limits.bytes)
        stopAt(report, {Status::packageTooLarge, place,
                        "has more than " + std::to_string(limits.bytes) + " bytes"});
    rapidjson::Document document;
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

bool isExtensionId(std::string_view text) noexcept {
    const auto isAllowed = [](char c) {
        return isLetterOrDigit(c) || c == '.' || c == '_' || c == '-';
    };
    return !text.empty() && text.size() <= kMaxIdBytes && isLetterOrDigit(text.front()) &&
           isLetterOrDigit(text.back()) && std::all_of(text.begin(), text.end(), isAllowed) &&
           text.find("..") == std::string_view::npos;
}

std::string toIdKey(std::string_view id) {
    std::string key(id);
    for (char& c : key)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return key;
}

Manifest parseManifest(std::string_view bytes, const JsonLimits& limits, const FaultSink& report) {
    const rapidjson::Document document = parseObject(bytes, limits, report);
    const Members members(document, "", report);
    readFormatVersion(members, report);
    readNeeds(members);
    Manifest manifest;
    manifest.id = readId(members);
    manifest.idKey = toIdKey(manifest.id);
    manifest.name = members.neededText("name", kMaxNameBytes);
    if (members.findNeeded("version") != nullptr)
        manifest.version = members.version("version").value_or(Version());
    manifest.products = readProducts(members, report);
    manifest.storeName = members.text("storeName", kMaxStoreNameBytes);
    manifest.description = members.paragraph("description");
    manifest.author = members.text("author", kAnyLength);
    manifest.license = members.text("license", kAnyLength);
    manifest.homepage = members.text("homepage", kAnyLength);
    manifest.updateUrl = members.text("updateUrl", kAnyLength);
    manifest.requiresAccount = members.flag("requiresAccount");
    return manifest;
}

}  // namespace tavik
