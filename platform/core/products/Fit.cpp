#include "platform/core/products/Fit.h"

#include "platform/core/status/Status.h"

namespace tavik {

bool fits(const ProductRequirement& wanted, const Product& product) {
    return wanted.name == product.name && wanted.accepts(product.version);
}

void requireFittingProduct(const Manifest& manifest, const ProductCatalog& products,
                           const std::string& subject) {
    std::string wanted;
    std::string found;
    for (const auto& requirement : manifest.products) {
        const Product* product = products.byName(requirement.name);
        if (product != nullptr && fits(requirement, *product))
            return;
        wanted += (wanted.empty() ? "" : ", ") + describe(requirement);
        if (product != nullptr)
            found += (found.empty() ? "" : ", ") + product->name + " " + product->version.text();
    }
    fail(Status::noFittingProduct, subject,
         "wanted: " + wanted + "; found: " + (found.empty() ? "none of them" : found));
}

}  // namespace tavik
