#include <sys/stat.h>

#include "platform/core/package/Manifest.h"
#include "platform/core/status/Status.h"
#include "tools/tavik/Changes.h"

namespace tavik::front {
namespace {

void installFile(const std::string& path, Scope scope, Run& run, Changes& changes) {
    const Inventory before = run.session().inventory();
    const ExtensionRow row = run.session().install(path, scope);
    const InventoryEntry* replaced = before.find(scope, row.idKey);
    const std::string from = replaced == nullptr ? "" : replaced->row.version;
    changes.add({installOperation(from, row.version), row.id, from, row.version, scope});
}

void install(const Arguments& arguments, Run& run) {
    Changes changes(run);
    for (const std::string& operand : arguments.operands)
        run.attempt([&] { installFile(operand, scopeOf(arguments), run, changes); });
}

}  // namespace

const Verb kInstallVerb = {
    "install",         "installs packages", {"FILE", "package files (.qpk)", 1, kAny},
    {kAllUsersOption}, {kChangesMember},    install};

}  // namespace tavik::front
