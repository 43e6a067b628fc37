#include "tools/tavik/Listing.h"

#include "platform/core/session/NameSearch.h"
#include "platform/core/status/Status.h"
#include "tools/tavik/Changes.h"
#include "tools/tavik/Words.h"

namespace tavik::front {
namespace {

constexpr std::size_t kShortDigits = 12;

}  // namespace

std::string productNamed(const ProductCatalog& products, const std::string& text) {
    const Product* product = products.byName(text);
    if (product == nullptr)
        product = products.byDisplayName(text);
    for (const auto& each : products.products())
        if (product == nullptr && foldName(each.displayName) == foldName(text))
            product = &each;
    if (product == nullptr)
        fail(Status::productNotFound, text);
    return product->name;
}

const char* stateName(const InventoryEntry& entry) noexcept {
    if (entry.row.state == ExtensionState::disabled)
        return "disabled";
    return entry.isMasked ? "masked" : "enabled";
}

Cell stateCell(const InventoryEntry& entry, Language language) {
    if (entry.row.state == ExtensionState::disabled)
        return {word(Word::disabled, language), Tone::faint};
    if (entry.isMasked)
        return {word(Word::masked, language), Tone::faint};
    return {word(Word::enabled, language), Tone::good};
}

std::string describeProducts(const InventoryEntry& entry, Language language) {
    std::string text;
    for (const auto& product : entry.products) {
        const bool isHere = !product.displayName.empty();
        text += (text.empty() ? "" : ", ") + (isHere ? product.displayName : product.name);
        if (!product.fits)
            text +=
                std::string(" (") + word(isHere ? Word::doesNotFit : Word::notHere, language) + ")";
    }
    return text;
}

std::string shortSigner(const std::string& fingerprint) {
    return fingerprint.substr(0, kShortDigits);
}

void writeActor(JsonText& json, const Actor& actor) {
    json.key("number");
    if (actor.number < 0)
        json.null();
    else
        json.number(actor.number);
    json.optional("name", actor.name);
}

void writeExtension(JsonText& json, const InventoryEntry& entry, const std::string& update) {
    json.member("id", entry.row.id);
    json.member("name", entry.row.name);
    json.member("version", entry.row.version.text());
    json.member("state", stateName(entry));
    json.member("scope", scopeName(entry.scope));
    json.objects("products", entry.products, [&](const ProductFit& product) {
        json.member("name", product.name);
        json.optional("displayName", product.displayName);
        json.boolean("fits", product.fits);
    });
    json.optional("signer", entry.row.signer);
    json.optional("update", update);
    json.optional("installedAt", entry.row.installedAt);
}

}  // namespace tavik::front
