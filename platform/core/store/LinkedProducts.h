#pragma once

#include <set>
#include <string>

#include "platform/core/disk/StoreFolder.h"
#include "platform/core/products/ProductCatalog.h"

namespace tavik {

// What the links depend on besides the rows, as a text to compare: the store's path, then a line
// for each product with its name, its version and its folder, with tabs between them. The database
// keeps the text that the links were last made for. The text of an earlier version has no path.

std::string linkedProductsText(const ProductCatalog& products, const StoreFolder& store);

/// The product's line, with its line end.
std::string linkedProductLine(const Product& product, const StoreLocation& store);

/// The folders that such a text names.
std::set<std::string> foldersInLinkedProducts(const std::string& text);

/// Whether the links were made when the store was in another place. False for the text of an
/// earlier version.
bool wasMoved(const std::string& linkedProducts, const StoreFolder& store);

}  // namespace tavik
