#include <unistd.h>

#include <filesystem>

#include "platform/core/package/Manifest.h"
#include "tools/tavik/Account.h"
#include "tools/tavik/Changes.h"

namespace tavik::front {
namespace {

/// A file or its address, or the id of an extension that the feeds offer: ID or ID@VERSION.
PackageSource sourceOf(const std::string& operand) {
    PackageSource source;
    const std::size_t at = operand.find('@');
    const std::string id = operand.substr(0, at);
    const bool isFile = ::access(operand.c_str(), F_OK) == 0 ||
                        operand.find('/') != std::string::npos || !isExtensionId(id) ||
                        std::filesystem::path(operand).extension() == ".qpk";
    if (isFile) {
        source.place = operand;
        return source;
    }
    source.id = id;
    if (at == std::string::npos)
        return source;
    source.version = Version::parse(operand.substr(at + 1));
    if (!source.version)
        throw UsageError("\"" + operand + "\" has no version behind its @");
    return source;
}

void installOne(const PackageSource& source, Scope scope, Run& run, Changes& changes) {
    const Inventory before = run.session().inventory();
    const ExtensionRow row = run.session().install(source, scope);
    const InventoryEntry* replaced = before.find(scope, row.idKey);
    const std::string from = replaced == nullptr ? "" : replaced->row.version.text();
    changes.add(
        {installOperation(from, row.version.text()), row.id, from, row.version.text(), scope});
}

void install(const Arguments& arguments, Run& run) {
    std::vector<PackageSource> sources;
    for (const std::string& operand : arguments.operands)
        sources.push_back(sourceOf(operand));
    useAccount(arguments, run);
    Changes changes(run);
    for (const PackageSource& source : sources)
        run.attempt([&] { installOne(source, scopeOf(arguments), run, changes); });
}

}  // namespace

const Verb kInstallVerb = {
    "install",
    "installs packages",
    {"PACKAGE",
     "package files (.qpk) or their addresses, or ID or ID@VERSION of what the feeds offer", 1,
     kAny},
    withAccountOptions({kAllUsersOption}),
    {kChangesMember},
    install};

}  // namespace tavik::front
