#include "platform/core/session/Inventory.h"

#include <algorithm>
#include <tuple>

#include "platform/core/products/Fit.h"
#include "platform/core/store/LinkedProducts.h"
#include "platform/core/store/MaskKeeper.h"

namespace tavik {
namespace {

std::vector<ProductFit> fitsOf(const ExtensionRow& row, const ProductCatalog& products) {
    std::vector<ProductFit> found;
    for (const auto& wanted : row.products) {
        const Product* product = products.byName(wanted.name);
        if (product == nullptr)
            found.push_back({wanted.name, "", false});
        else
            found.push_back({wanted.name, product->displayName, fits(wanted, *product)});
    }
    return found;
}

bool isListedBefore(const InventoryEntry& a, const InventoryEntry& b) {
    return std::tie(a.row.name, a.row.idKey, a.scope) < std::tie(b.row.name, b.row.idKey, b.scope);
}

}  // namespace

Inventory Inventory::read(const std::vector<StoreLocation>& locations,
                          const ProductCatalog& products, const TableOpener& open) {
    Inventory inventory;
    for (const auto& location : locations) {
        try {
            inventory.add(location, products, open);
        } catch (const Error& error) {
            inventory.failures_.push_back(error);
        }
    }
    for (const auto& location : locations)
        if (location.scope == Scope::user)
            inventory.mask(location);
    std::sort(inventory.entries_.begin(), inventory.entries_.end(), isListedBefore);
    return inventory;
}

void Inventory::add(const StoreLocation& location, const ProductCatalog& products,
                    const TableOpener& open) {
    const auto folder = StoreFolder::open(location);
    ExtensionTable* table = folder ? open(*folder) : nullptr;
    if (table == nullptr)
        return;
    if (table->trouble())
        troubles_.push_back(*table->trouble());
    if (table->trouble() || wasMoved(table->linkedProducts(), *folder))
        unfinished_.push_back(location);
    for (auto& row : table->readAll()) {
        std::string path = folder->path() + "/ext/" + row.folder;
        auto productFits = fitsOf(row, products);
        entries_.push_back(
            {std::move(row), location.scope, false, std::move(path), std::move(productFits)});
    }
}

void Inventory::mask(const StoreLocation& user) {
    const auto folder = StoreFolder::open(user);
    const Masks masks = folder ? MaskKeeper(*folder).read() : Masks();
    bool areWhole = true;
    for (auto& entry : entries_) {
        if (entry.scope != Scope::shared)
            continue;
        entry.isMasked =
            masks.count(entry.row.idKey) != 0 && find(Scope::user, entry.row.idKey) == nullptr;
        areWhole = areWhole && isCovered(masks, entry.row);
    }
    if (!areWhole)
        unfinished_.push_back(user);
}

const InventoryEntry* Inventory::find(Scope scope, const std::string& idKey) const noexcept {
    const auto found =
        std::find_if(entries_.begin(), entries_.end(), [&](const InventoryEntry& entry) {
            return entry.scope == scope && entry.row.idKey == idKey;
        });
    return found == entries_.end() ? nullptr : &*found;
}

}  // namespace tavik
