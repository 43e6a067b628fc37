#include "platform/core/session/ExtensionCatalog.h"

#include <algorithm>
#include <unordered_set>

#include "platform/core/package/Manifest.h"
#include "platform/core/status/Status.h"

namespace tavik {
namespace {

constexpr std::size_t kNotListed = static_cast<std::size_t>(-1);

std::string idsOf(std::vector<const InstalledExtension*> extensions) {
    std::sort(extensions.begin(), extensions.end(),
              [](const auto* a, const auto* b) { return a->idKey < b->idKey; });
    std::string ids;
    for (const auto* extension : extensions)
        ids.append(ids.empty() ? "" : ", ").append(extension->id);
    return ids;
}

bool isListedBefore(const InstalledExtension* a, const InstalledExtension* b) {
    const int names = a->name.compare(b->name);
    return names != 0 ? names < 0 : a->idKey < b->idKey;
}

}  // namespace

ExtensionCatalog ExtensionCatalog::load(const std::vector<StoreLocation>& locations,
                                        const TableOpener& open) {
    ExtensionCatalog catalog;
    Masks masks;
    for (const auto& location : locations) {
        const auto folder =
            location.scope == Scope::user ? StoreFolder::open(location) : std::nullopt;
        if (folder)
            masks = MaskKeeper(*folder).read();
        ExtensionTable* table = open(location);
        if (table == nullptr)
            continue;
        catalog.add(*table, location.scope);
        if (location.scope == Scope::shared)
            catalog.areMasksWhole_ = areAllCovered(masks, *table);
    }
    catalog.mask(masks);
    return catalog;
}

ExtensionCatalog ExtensionCatalog::ofOne(const Manifest& manifest, Scope scope) {
    ExtensionCatalog catalog;
    Arena& texts = catalog.texts_;
    const ListedExtension extension{
        texts.keep(manifest.id),        texts.keep(manifest.idKey),
        texts.keep(manifest.name),      texts.keep(manifest.version.text()),
        texts.keep(manifest.storeName), ExtensionState::enabled};
    catalog.extensions_.push_back({extension, scope, -1, false, extension.state});
    for (const auto& product : manifest.products)
        catalog.memberships_.push_back({0, texts.keep(product.name)});
    return catalog;
}

void ExtensionCatalog::mask(const Masks& masks) {
    if (masks.empty())
        return;
    for (auto& extension : extensions_) {
        extension.isMasked =
            extension.scope == Scope::shared && masks.count(std::string(extension.idKey)) != 0;
        if (extension.isMasked)
            extension.state = ExtensionState::disabled;
    }
}

void ExtensionCatalog::add(ExtensionTable& table, Scope scope) {
    // Within one store the ids differ: what was there before came from an earlier location.
    std::unordered_set<std::string_view> known;
    for (const auto& extension : extensions_)
        known.insert(extension.idKey);
    std::vector<std::size_t> positions;
    const auto reserve = [&](std::size_t count) {
        positions.reserve(count);
        extensions_.reserve(extensions_.size() + count);
        memberships_.reserve(memberships_.size() + count);
    };
    const auto addExtension = [&](const ListedExtension& extension) {
        const bool isHidden = !known.empty() && known.count(extension.idKey) != 0;
        positions.push_back(isHidden ? kNotListed : extensions_.size());
        if (!isHidden)
            extensions_.push_back({extension, scope, -1, false, extension.state});
    };
    const auto addMembership = [&](const ListedMembership& membership) {
        if (const std::size_t at = positions[membership.extension]; at != kNotListed)
            memberships_.push_back({at, membership.product});
    };
    table.visitList(texts_, {reserve, addExtension, addMembership});
}

void ExtensionCatalog::arrange() const {
    isArranged_ = true;
    for (const auto& [extension, product] : memberships_)
        byProduct_[product].push_back(&extensions_[extension]);
    // Names often are in the order of the ids already, which a merge makes use of.
    for (auto& [product, members] : byProduct_)
        std::stable_sort(members.begin(), members.end(), isListedBefore);
}

void ExtensionCatalog::assignHandles(std::vector<const InstalledExtension*>& byHandle) {
    std::unordered_map<std::string, ExtensionHandle> known;
    for (const auto* extension : byHandle)
        if (extension != nullptr)
            known.emplace(extension->idKey, extension->handle);
    std::fill(byHandle.begin(), byHandle.end(), nullptr);
    for (auto& extension : extensions_) {
        const auto found = known.empty() ? known.end() : known.find(std::string(extension.idKey));
        extension.handle =
            found != known.end() ? found->second : static_cast<ExtensionHandle>(byHandle.size());
        if (found == known.end())
            byHandle.push_back(&extension);
        else
            byHandle[static_cast<std::size_t>(found->second)] = &extension;
    }
}

const InstalledExtension* ExtensionCatalog::byKey(std::string_view idKey) const noexcept {
    const auto found =
        std::find_if(extensions_.begin(), extensions_.end(),
                     [&](const InstalledExtension& each) { return each.idKey == idKey; });
    return found == extensions_.end() ? nullptr : &*found;
}

const InstalledExtension& ExtensionCatalog::byNameOrId(const std::string& name) const {
    const InstalledExtension* byId = byKey(toIdKey(name));
    // Ids go before names: no extension can hide another by taking its id as a name.
    if (byId != nullptr && byId->id == name)
        return *byId;
    std::vector<const InstalledExtension*> named;
    for (const auto& extension : extensions_)
        if (extension.name == name)
            named.push_back(&extension);
    if (named.size() > 1)
        fail(Status::ambiguousName, name, idsOf(named));
    const InstalledExtension* found = named.empty() ? byId : named.front();
    if (found == nullptr)
        fail(Status::extensionNotFound, name);
    return *found;
}

const std::vector<const InstalledExtension*>& ExtensionCatalog::ofProduct(
    const std::string& product) const {
    static const std::vector<const InstalledExtension*> kNone;
    if (!isArranged_)
        arrange();
    const auto found = byProduct_.find(product);
    return found == byProduct_.end() ? kNone : found->second;
}

}  // namespace tavik
