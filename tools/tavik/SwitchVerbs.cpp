#include "tools/tavik/Changes.h"

namespace tavik::front {
namespace {

void switchOne(const std::string& name, ExtensionState state, const Arguments& arguments, Run& run,
               Changes& changes) {
    const Inventory inventory = run.session().inventory();
    const InventoryEntry& entry =
        named(inventory, name,
              arguments.has(kAllUsersOption.name) ? std::optional(Scope::shared) : std::nullopt);
    if (entry.row.state == state)
        return;
    run.session().setState(entry, state);
    changes.add({state == ExtensionState::enabled ? Operation::enable : Operation::disable,
                 entry.row.id, entry.row.version, entry.row.version, entry.scope});
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
