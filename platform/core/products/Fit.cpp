#include "platform/core/products/Fit.h"

#include "platform/core/texts/Status.h"

namespace tavik {
namespace {

/// A text that was checked when it was stored.
Version versionOf(const std::string& text) {
    return Version::parse(text).value_or(Version());
}

std::optional<Version> boundOf(const std::string& text) {
    return text.empty() ? std::nullopt : Version::parse(text);
}

bool accepts(const ProductRequirement& wanted, const Product& product) {
    return wanted.name == product.name && wanted.accepts(versionOf(product.version));
}

std::string describe(const ProductRequirement& wanted) {
    std::string text = wanted.name;
    if (wanted.minVersion)
        text += " from " + wanted.minVersion->text();
    if (wanted.maxVersion)
        text += " up to " + wanted.maxVersion->text();
    return text;
}

}  // namespace

bool fits(const ProductRange& range, const Product& product) {
    return accepts({range.product, boundOf(range.minVersion), boundOf(range.maxVersion)}, product);
}

void requireFittingProduct(const Manifest& manifest, const ProductCatalog& products,
                           const std::string& subject) {
    std::string wanted;
    std::string found;
    for (const auto& requirement : manifest.products) {
        const Product* product = products.byName(requirement.name);
        if (product != nullptr && accepts(requirement, *product))
            return;
        wanted += (wanted.empty() ? "" : ", ") + describe(requirement);
        if (product != nullptr)
            found += (found.empty() ? "" : ", ") + product->name + " " + product->version;
    }
    fail(Status::noFittingProduct, subject,
         "wanted: " + wanted + "; found: " + (found.empty() ? "none of them" : found));
}

}  // namespace tavik
