#include "tools/tavik/Account.h"
#include "tools/tavik/Changes.h"

namespace tavik::front {
namespace {

void updateOne(const InventoryEntry& entry, bool isDry, Run& run, Changes& changes) {
    const Offer* offer = run.session().findUpdate(entry);
    if (offer == nullptr)
        return;
    const std::string version = offer->item.version.text();
    if (isDry)
        run.output().pending();
    else
        run.session().update(entry);
    changes.add({Operation::update, entry.row.id, entry.row.version.text(), version, entry.scope});
}

void update(const Arguments& arguments, Run& run) {
    const bool isDry = arguments.has(kDryRunOption.name);
    if (arguments.has("all") != arguments.operands.empty())
        throw UsageError("update takes names, or --all");
    useAccount(arguments, run);
    if (isDry)
        run.session().setInterrupted(Session::Interrupted::stays);
    const Inventory inventory = run.session().inventory();
    Changes changes(run);
    for (const Error& error : inventory.failures())
        run.output().failure(error);
    for (const std::string& name : arguments.operands)
        run.attempt([&] { updateOne(named(inventory, name), isDry, run, changes); });
    if (!arguments.has("all"))
        return;
    // An ordinary user's timer would fail each day by what is an administrator's to update.
    const bool mayUpdateShared = run.session().mayChange(Scope::shared);
    for (const auto& entry : inventory.entries())
        if (entry.scope == Scope::user || mayUpdateShared)
            run.attempt([&] { updateOne(entry, isDry, run, changes); });
}

}  // namespace

const Verb kUpdateVerb = {
    "update",
    "installs updates",
    {"NAME", "names or ids of extensions", 0, kAny},
    withAccountOptions(
        {{"all", nullptr, "every installed extension that this user may change"}, kDryRunOption}),
    {kChangesMember},
    update};

}  // namespace tavik::front
