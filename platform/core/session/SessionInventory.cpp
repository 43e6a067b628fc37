#include <algorithm>
#include <exception>

#include "platform/core/disk/StoreFolder.h"
#include "platform/core/session/Session.h"
#include "platform/core/status/Status.h"
#include "platform/core/store/ChangeMark.h"

namespace tavik {

/// The same as openTable does first.
void Session::finishBeforeLook(const StoreLocation& location) noexcept {
    try {
        const auto folder = StoreFolder::open(location);
        if (folder && hasMark(*folder) && finishInterrupted(location))
            forgetCatalog();
    } catch (const std::exception&) {
        // Whoever reads the store next says why it cannot be read.
    }
}

Inventory Session::inventory() {
    leaveOutForeignStore();
    for (const StoreLocation& each : locations())
        finishBeforeLook(each);
    Inventory found = readInventory();
    const auto& unfinished = found.unfinished();
    if (std::count_if(unfinished.begin(), unfinished.end(),
                      [this](const StoreLocation& each) { return finishInterrupted(each); }) != 0) {
        forgetCatalog();
        found = readInventory();
    }
    // Rows that were made from the folders may be wrong about what was switched off.
    if (interrupted_ == Interrupted::isFinished)
        for (const Error& trouble : found.troubles())
            warnOnce(trouble);
    return found;
}

/// Reads the stores anew and keeps their rows for what follows, such as a search for updates.
Inventory Session::readInventory() {
    tables_.clear();
    Inventory found =
        Inventory::read(locations(), reachableProducts(), [this](const StoreFolder& folder) {
            const Scope scope = folder.location().scope;
            auto& table =
                tables_.emplace(scope, ExtensionTable::openForReading(folder)).first->second;
            return table ? &*table : nullptr;
        });
    // Rows that had to be built anew are not kept: later steps repair the database first, or warn.
    if (!found.troubles().empty())
        tables_.clear();
    return found;
}

ExtensionDetails Session::details(const InventoryEntry& entry) {
    return detailsOf(entry, reachableProducts(), locations());
}

std::string Session::extensionsFolder(const Product& product) const {
    return extensionsFolderOf(product, locations().front());
}

void Session::remove(const InventoryEntry& entry) {
    forgetCatalog();
    store(entry.scope).remove(entry.row.idKey, entry.row.name);
}

void Session::setState(const InventoryEntry& entry, ExtensionState state) {
    forgetCatalog();
    store(entry.scope).setState(entry.row.idKey, entry.row.name, state);
}

void Session::setMask(const InventoryEntry& entry, ExtensionState state) {
    forgetCatalog();
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

std::vector<StoreHistoryLine> Session::history() {
    leaveOutForeignStore();
    std::vector<StoreHistoryLine> lines;
    for (const StoreLocation& location : locations()) {
        auto table = openTable(location);
        if (!table)
            continue;
        for (auto& line : table->readHistory())
            lines.push_back({std::move(line), location.scope});
    }
    std::stable_sort(lines.begin(), lines.end(),
                     [](const auto& a, const auto& b) { return a.line.time < b.line.time; });
    return lines;
}

void Session::repair(Scope scope) {
    forgetCatalog();
    store(scope).repair();
}

}  // namespace tavik
