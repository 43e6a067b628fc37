#include "platform/core/session/Session.h"
#include "platform/core/status/Status.h"

namespace tavik {

Inventory Session::inventory() {
    return Inventory::read(locations(), reachableProducts());
}

ExtensionDetails Session::details(const InventoryEntry& entry) {
    return detailsOf(entry, reachableProducts(), locations());
}

std::string Session::extensionsFolder(const Product& product) const {
    return extensionsFolderOf(product, locations().front());
}

void Session::remove(const InventoryEntry& entry) {
    catalogIsCurrent_ = false;
    store(entry.scope).remove(entry.row.idKey, entry.row.name);
}

void Session::setState(const InventoryEntry& entry, ExtensionState state) {
    catalogIsCurrent_ = false;
    store(entry.scope).setState(entry.row.idKey, entry.row.name, state);
}

void Session::setMask(const InventoryEntry& entry, ExtensionState state) {
    catalogIsCurrent_ = false;
    store(Scope::user).setMask(entry.row, state);
}

const Offer* Session::findUpdate(const InventoryEntry& entry) {
    const InstalledExtension* listed = catalog().byKey(entry.row.idKey);
    if (listed == nullptr || listed->scope != entry.scope)
        return nullptr;
    try {
        return &updateCheck().updateOf(entry.row.idKey);
    } catch (const Error& error) {
        if (error.status() == static_cast<int>(Status::noUpdate))
            return nullptr;
        throw;
    }
}

void Session::update(const InventoryEntry& entry) {
    update(extension(entry.row.id).handle);
}

}  // namespace tavik
