#include "tools/tavik/Run.h"

#include "platform/core/session/NameSearch.h"
#include "platform/core/status/Status.h"

namespace tavik::front {
namespace {

// The folder of the stores that this family of products has.
constexpr const char* kFamily = "QZ";

/// What is not found may be in a store that cannot be read: then that is the failure.
std::size_t positionOf(const Inventory& inventory, const std::vector<NamedExtension>& extensions,
                       const std::string& name) {
    try {
        return findByName(extensions, name);
    } catch (const Error& error) {
        const bool isMissing = error.status() == static_cast<int>(Status::extensionNotFound);
        if (!isMissing || inventory.failures().empty())
            throw;
        throw Error(inventory.failures().front());
    }
}

}  // namespace

Session& Run::session() {
    if (!session_)
        session_ = std::make_unique<Session>(locale_, kFamily);
    return *session_;
}

const InventoryEntry& named(const Inventory& inventory, const std::string& name,
                            std::optional<Scope> only) {
    std::vector<NamedExtension> extensions;
    std::vector<const InventoryEntry*> entries;
    for (const auto& entry : inventory.entries())
        if (!only || entry.scope == *only) {
            extensions.push_back({entry.row.id, entry.row.name});
            entries.push_back(&entry);
        }
    const InventoryEntry* found = entries[positionOf(inventory, extensions, name)];
    const InventoryEntry* own = inventory.find(Scope::user, found->row.idKey);
    return only || own == nullptr ? *found : *own;
}

}  // namespace tavik::front
