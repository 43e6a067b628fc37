#include "tools/tavik/Listing.h"
#include "tools/tavik/Run.h"

namespace tavik::front {
namespace {

void freeze(const Arguments&, Run& run) {
    // A state file is JSON in any case.
    run.output().useJson();
    const Inventory inventory = run.session().inventory();
    for (const Error& error : inventory.failures())
        run.output().failure(error);
    run.output().objects("extensions", inventory.entries(),
                         [](JsonText& json, const InventoryEntry& entry) {
                             json.member("id", entry.row.id);
                             json.member("version", entry.row.version.text());
                             json.optional("source", "");
                             json.optional("sha256", "");
                             json.member("state", stateName(entry));
                             json.boolean("allUsers", entry.scope == Scope::shared);
                         });
}

}  // namespace

const Verb kFreezeVerb = {"freeze",
                          "prints the state of both stores as a state file for apply",
                          {nullptr, nullptr, 0, 0},
                          {},
                          {{"extensions", DocumentMember::Kind::list}},
                          freeze};

}  // namespace tavik::front
