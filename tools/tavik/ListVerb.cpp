#include <algorithm>

#include "tools/tavik/Changes.h"
#include "tools/tavik/Listing.h"
#include "tools/tavik/Words.h"

namespace tavik::front {
namespace {

struct ListedEntry {
    const InventoryEntry* entry;
    std::string update;
};

bool isWanted(const InventoryEntry& entry, const std::string& product, const Arguments& arguments) {
    if (arguments.has("user") && entry.scope != Scope::user)
        return false;
    if (arguments.has(kAllUsersOption.name) && entry.scope != Scope::shared)
        return false;
    return product.empty() ||
           std::any_of(entry.products.begin(), entry.products.end(),
                       [&](const ProductFit& each) { return each.name == product; });
}

/// The version on offer; empty where there is none.
std::string updateOf(const InventoryEntry& entry, Run& run) {
    std::string version;
    run.attempt([&] {
        if (const Offer* offer = run.session().findUpdate(entry))
            version = offer->item.version.text();
    });
    return version;
}

void showTable(const std::vector<ListedEntry>& listed, bool hasUpdates, Run& run) {
    const Language language = run.language();
    Table table;
    for (const Word head : {Word::name, Word::id, Word::version, Word::state, Word::scope,
                            Word::products, Word::signer})
        table.heads.emplace_back(word(head, language));
    if (hasUpdates)
        table.heads.emplace_back(word(Word::update, language));
    for (const auto& [entry, update] : listed) {
        table.rows.push_back({entry->row.name, entry->row.id, entry->row.version.text(),
                              stateCell(*entry, language), scopeText(entry->scope, language),
                              describeProducts(*entry, language), shortSigner(entry->row.signer)});
        if (hasUpdates)
            table.rows.back().emplace_back(update, Tone::good);
    }
    run.output().table(table);
}

void requireSense(const Arguments& arguments) {
    if (arguments.has("check") && !arguments.has("updates"))
        throw UsageError("--check goes with --updates");
    if (arguments.has("user") && arguments.has(kAllUsersOption.name))
        throw UsageError("--user and --all-users exclude each other");
}

void list(const Arguments& arguments, Run& run) {
    requireSense(arguments);
    const Inventory inventory = run.session().inventory();
    for (const Error& error : inventory.failures())
        run.output().failure(error);
    const auto wanted = arguments.value("product");
    const std::string product = wanted ? productNamed(run.session().products(), *wanted) : "";
    const bool hasUpdates = arguments.has("updates");
    std::vector<ListedEntry> listed;
    for (const auto& entry : inventory.entries()) {
        if (!isWanted(entry, product, arguments))
            continue;
        const std::string update = hasUpdates ? updateOf(entry, run) : "";
        if (!hasUpdates || !update.empty())
            listed.push_back({&entry, update});
    }
    if (hasUpdates && arguments.has("check") && !listed.empty())
        run.output().pending();
    showTable(listed, hasUpdates, run);
    run.output().objects("extensions", listed, [](JsonText& json, const ListedEntry& each) {
        writeExtension(json, *each.entry, each.update);
    });
}

}  // namespace

const Verb kListVerb = {"list",
                        "lists the installed extensions of both stores",
                        {nullptr, nullptr, 0, 0},
                        {{"product", "PRODUCT", "only what was made for this product"},
                         {"updates", nullptr, "only what has an update on offer"},
                         {"check", nullptr, "with --updates: exit status 3 where there is one"},
                         {"all-users", nullptr, "only the store for all users of this machine"},
                         {"user", nullptr, "only the store of this user"}},
                        {{"extensions", DocumentMember::Kind::list}},
                        list};

}  // namespace tavik::front
