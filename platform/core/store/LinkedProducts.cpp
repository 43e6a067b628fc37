#include "platform/core/store/LinkedProducts.h"

#include <algorithm>
#include <sstream>

namespace tavik {
namespace {

/// The store's path without what would end the line or its columns.
std::string pathLine(std::string path) {
    const auto isSeparator = [](char c) { return c == '\n' || c == '\t'; };
    std::replace_if(path.begin(), path.end(), isSeparator, '?');
    return path;
}

}  // namespace

std::string linkedProductsText(const ProductCatalog& products, const StoreFolder& store) {
    std::string text = pathLine(store.path()) + "\n";
    for (const auto& product : products.products())
        text += linkedProductLine(product, store.location());
    return text;
}

std::string linkedProductLine(const Product& product, const StoreLocation& store) {
    return product.name + "\t" + product.version.text() + "\t" +
           extensionsFolderOf(product, store) + "\n";
}

std::set<std::string> foldersInLinkedProducts(const std::string& text) {
    std::set<std::string> folders;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (const auto tab = line.rfind('\t'); tab != std::string::npos)
            folders.insert(line.substr(tab + 1));
    return folders;
}

bool wasMoved(const std::string& linkedProducts, const StoreFolder& store) {
    const std::string path = linkedProducts.substr(0, linkedProducts.find('\n'));
    // A product's name has no slash.
    return !path.empty() && path.front() == '/' && path != pathLine(store.path());
}

}  // namespace tavik
