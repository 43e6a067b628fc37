#include <algorithm>

#include "platform/core/session/NameSearch.h"
#include "tools/tavik/Listing.h"
#include "tools/tavik/Run.h"
#include "tools/tavik/Words.h"

namespace tavik::front {
namespace {

/// Whether each word is in the offer's id or name, but for letter case and accents.
bool hasAll(const Offer& offer, const std::vector<std::string>& words) {
    const std::string text = foldName(offer.item.id) + "\n" + foldName(offer.item.name);
    return std::all_of(words.begin(), words.end(), [&](const std::string& word) {
        return text.find(foldName(word)) != std::string::npos;
    });
}

bool isFor(const Offer& offer, const std::string& product) {
    return product.empty() ||
           std::any_of(offer.item.products.begin(), offer.item.products.end(),
                       [&](const ProductRequirement& each) { return each.name == product; });
}

/// The version that this user has; empty: none.
std::string installedVersion(const Inventory& inventory, const Offer& offer) {
    const InventoryEntry* entry = inventory.find(Scope::user, offer.item.idKey);
    if (entry == nullptr)
        entry = inventory.find(Scope::shared, offer.item.idKey);
    return entry == nullptr ? "" : entry->row.version.text();
}

void search(const Arguments& arguments, Run& run) {
    Session& session = run.session();
    const auto wanted = arguments.value("product");
    const std::string product = wanted ? productNamed(session.products(), *wanted) : "";
    const Inventory inventory = session.inventory();
    const Session::Search found = session.searchOffers();
    for (const Error& failure : found.failures)
        run.output().failure(failure);
    std::vector<Offer> offers;
    for (const Offer& offer : found.offers)
        if (isFor(offer, product) && hasAll(offer, arguments.operands))
            offers.push_back(offer);

    Table table;
    for (const Word head : {Word::name, Word::id, Word::offered, Word::installed, Word::signer})
        table.heads.emplace_back(word(head, run.language()));
    for (const Offer& offer : offers)
        table.rows.push_back({offer.name, offer.item.id, offer.item.version.text(),
                              installedVersion(inventory, offer), shortSigner(offer.signer)});
    run.output().table(table);
    run.output().objects("offers", offers, [&](JsonText& json, const Offer& offer) {
        json.member("id", offer.item.id);
        json.member("name", offer.name);
        json.member("version", offer.item.version.text());
        json.array("products", offer.item.products,
                   [&](const ProductRequirement& each) { json.text(each.name); });
        json.optional("installed", installedVersion(inventory, offer));
        json.optional("signer", offer.signer);
        json.member("feed", offer.feed);
    });
}

}  // namespace

const Verb kSearchVerb = {"search",
                          "lists what the feeds of the installed products offer",
                          {"WORD", "parts of names or ids, all of which must be there", 0, kAny},
                          {{"product", "PRODUCT", "only what was made for this product"}},
                          {{"offers", DocumentMember::Kind::list}},
                          search};

}  // namespace tavik::front
