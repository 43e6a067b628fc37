#include "tools/tavik/Candidates.h"

#include <map>

#include "platform/support/Text.h"
#include "tools/tavik/Run.h"

namespace tavik::front {
namespace {

struct Wanted {
    std::string state;
    std::string scope;
};

bool isWanted(const InventoryEntry& entry, const Inventory& inventory, const Wanted& wanted) {
    const bool isShared = entry.scope == Scope::shared;
    if ((wanted.scope == "user" && isShared) || (wanted.scope == "allUsers" && !isShared))
        return false;
    // Without --all-users, a name means the user's own copy.
    if (wanted.scope == "both" && isShared &&
        inventory.find(Scope::user, entry.row.idKey) != nullptr)
        return false;
    const bool isMasked = wanted.scope == "both" && entry.isMasked;
    const bool isEnabled = entry.row.state == ExtensionState::enabled && !isMasked;
    return wanted.state == "installed" || isEnabled == (wanted.state == "enabled");
}

using Candidates = std::vector<std::pair<std::string, std::string>>;

Candidates extensions(const Wanted& wanted, Run& run) {
    run.session().setInterrupted(Session::Interrupted::stays);
    const Inventory inventory = run.session().inventory();
    Candidates found;
    std::map<std::string, int> holders;
    for (const InventoryEntry& entry : inventory.entries())
        if (isWanted(entry, inventory, wanted)) {
            found.emplace_back(entry.row.name, entry.row.id);
            ++holders[entry.row.name];
        }
    // An earlier version may have taken a name that a terminal must not get.
    for (auto& [name, id] : found)
        if (holders[name] > 1 || !isPrintableText(name))
            std::swap(name, id);
    return found;
}

Candidates products(Run& run) {
    Candidates found;
    for (const Product& product : run.session().products().products())
        found.emplace_back(product.displayName, product.name);
    return found;
}

bool begins(const std::string& text, const std::string& typed) {
    return text.compare(0, typed.size(), typed) == 0;
}

/// Those that `typed` is the beginning of: by their names, or else by what tells them apart.
Candidates matching(const Candidates& candidates, const std::string& typed) {
    Candidates byName;
    Candidates byId;
    for (const auto& [name, id] : candidates) {
        if (begins(name, typed))
            byName.emplace_back(name, id);
        if (begins(id, typed))
            byId.emplace_back(id, name);
    }
    return byName.empty() ? byId : byName;
}

std::string linesOf(const Candidates& candidates) {
    std::string lines;
    for (const auto& [text, other] : candidates)
        lines += text + "\t" + printable(other) + "\n";
    return lines;
}

}  // namespace

std::string candidates(std::vector<std::string> arguments) try {
    Output unused(Output::Form::text, Language::english);
    Run run(unused, "C");
    std::string typed;
    if (arguments.size() > 2 && arguments[arguments.size() - 2] == "--") {
        typed = arguments.back();
        arguments.resize(arguments.size() - 2);
    }
    if (arguments.size() == 1 && arguments[0] == "products")
        return linesOf(matching(products(run), typed));
    if (arguments.size() == 2)
        return linesOf(matching(extensions({arguments[0], arguments[1]}, run), typed));
    return "";
} catch (const std::exception&) {
    return "";
}

}  // namespace tavik::front
