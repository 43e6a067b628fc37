#include "platform/core/status/Status.h"
#include "tools/tavik/Changes.h"

namespace tavik::front {
namespace {

/// Switches an extension of the shared store for this user alone.
void switchForUser(const InventoryEntry& entry, ExtensionState state, Run& run, Changes& changes) {
    const bool enables = state == ExtensionState::enabled;
    if (enables && entry.row.state == ExtensionState::disabled)
        fail(Status::installedForAllUsers, entry.row.name);
    if (entry.row.state == ExtensionState::disabled || entry.isMasked != enables)
        return;
    run.session().setMask(entry, state);
    changes.add({enables ? Operation::unmask : Operation::mask, entry.row.id,
                 entry.row.version.text(), entry.row.version.text(), entry.scope});
}

void switchOne(const std::string& name, ExtensionState state, const Arguments& arguments, Run& run,
               Changes& changes) {
    const bool isForAll = arguments.has(kAllUsersOption.name);
    const Inventory inventory = run.session().inventory();
    const InventoryEntry& entry =
        named(inventory, name, isForAll ? std::optional(Scope::shared) : std::nullopt);
    if (entry.scope == Scope::shared && !isForAll)
        return switchForUser(entry, state, run, changes);
    if (entry.row.state == state) {
        // A link that was deleted is made again, and lost files are named.
        if (state == ExtensionState::enabled && run.session().mayChange(entry.scope))
            run.session().setState(entry, state);
        return;
    }
    run.session().setState(entry, state);
    changes.add({state == ExtensionState::enabled ? Operation::enable : Operation::disable,
                 entry.row.id, entry.row.version.text(), entry.row.version.text(), entry.scope});
}

void switchAll(ExtensionState state, const Arguments& arguments, Run& run) {
    Changes changes(run);
    for (const std::string& name : arguments.operands)
        run.attempt([&] { switchOne(name, state, arguments, run, changes); });
}

void enable(const Arguments& arguments, Run& run) {
    switchAll(ExtensionState::enabled, arguments, run);
}

void disable(const Arguments& arguments, Run& run) {
    switchAll(ExtensionState::disabled, arguments, run);
}

constexpr Operands kNames = {"NAME", "names or ids of extensions", 1, kAny};

}  // namespace

const Verb kEnableVerb = {"enable",          "switches extensions on", kNames,
                          {kAllUsersOption}, {kChangesMember},         enable};
const Verb kDisableVerb = {"disable",         "switches extensions off", kNames,
                           {kAllUsersOption}, {kChangesMember},          disable};

}  // namespace tavik::front
