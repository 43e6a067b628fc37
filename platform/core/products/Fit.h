#pragma once

#include "platform/core/package/Manifest.h"
#include "platform/core/products/ProductCatalog.h"

namespace tavik {

/// Whether an extension that was made for `wanted` works in this product.
bool fits(const ProductRequirement& wanted, const Product& product);

/// Throws Status::noFittingProduct, naming what is wanted and what was found, where the manifest
/// fits none of the products; `subject` stands for the package.
void requireFittingProduct(const Manifest& manifest, const ProductCatalog& products,
                           const std::string& subject);

}  // namespace tavik
