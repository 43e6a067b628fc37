#include "platform/core/status/Status.h"
#include "tools/tavik/Changes.h"

namespace tavik::front {
namespace {

void removeOne(const std::string& name, const Arguments& arguments, Run& run, Changes& changes) {
    const bool isForAll = arguments.has(kAllUsersOption.name);
    const Inventory inventory = run.session().inventory();
    const InventoryEntry& entry =
        named(inventory, name, isForAll ? std::optional(Scope::shared) : std::nullopt);
    if (!isForAll && entry.scope == Scope::shared)
        fail(Status::installedForAllUsers, entry.row.name);
    run.session().remove(entry);
    changes.add({Operation::remove, entry.row.id, entry.row.version.text(), "", entry.scope});
}

void remove(const Arguments& arguments, Run& run) {
    Changes changes(run);
    for (const std::string& name : arguments.operands)
        run.attempt([&] { removeOne(name, arguments, run, changes); });
}

}  // namespace

const Verb kRemoveVerb = {
    "remove",          "removes extensions", {"NAME", "names or ids of extensions", 1, kAny},
    {kAllUsersOption}, {kChangesMember},     remove};

}  // namespace tavik::front
