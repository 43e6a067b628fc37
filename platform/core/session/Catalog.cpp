#include "platform/core/session/Catalog.h"

#include <algorithm>
#include <unordered_set>

#include "platform/core/package/Manifest.h"
#include "platform/core/texts/Status.h"

namespace tavik {
namespace {

std::string idsOf(const std::vector<const InstalledExtension*>& extensions) {
    std::string ids;
    for (const auto* extension : extensions)
        ids += (ids.empty() ? "" : ", ") + extension->row.id;
    return ids;
}

bool orderedBefore(const InstalledExtension& a, const InstalledExtension& b) {
    const int names = a.row.name.compare(b.row.name);
    return names != 0 ? names < 0 : a.row.idKey < b.row.idKey;
}

}  // namespace

Catalog Catalog::load(const std::vector<StoreLocation>& locations) {
    Catalog catalog;
    for (const auto& location : locations) {
        const auto folder = StoreFolder::open(location);
        if (!folder)
            continue;
        auto table = ExtensionTable::openForReading(*folder);
        if (table)
            catalog.add(table->readAll(), location.scope);
    }
    catalog.arrange();
    return catalog;
}

void Catalog::add(std::vector<ExtensionRow> rows, Scope scope) {
    // Within one store the ids differ: what was there before came from an earlier location.
    std::unordered_set<std::string> known;
    for (const auto& extension : extensions_)
        known.insert(extension.row.idKey);
    extensions_.reserve(extensions_.size() + rows.size());
    for (auto& row : rows)
        if (known.empty() || known.count(row.idKey) == 0)
            extensions_.push_back({std::move(row), scope});
}

void Catalog::arrange() {
    std::sort(extensions_.begin(), extensions_.end(), orderedBefore);
    for (const auto& extension : extensions_)
        for (const auto& range : extension.row.products)
            byProduct_[range.product].push_back(&extension);
}

void Catalog::assignHandles(std::vector<const InstalledExtension*>& byHandle) {
    std::unordered_map<std::string, ExtensionHandle> known;
    for (const auto* extension : byHandle)
        if (extension != nullptr)
            known.emplace(extension->row.idKey, extension->handle);
    std::fill(byHandle.begin(), byHandle.end(), nullptr);
    for (auto& extension : extensions_) {
        const auto found = known.empty() ? known.end() : known.find(extension.row.idKey);
        extension.handle =
            found != known.end() ? found->second : static_cast<ExtensionHandle>(byHandle.size());
        if (found == known.end())
            byHandle.push_back(&extension);
        else
            byHandle[static_cast<std::size_t>(found->second)] = &extension;
    }
}

const InstalledExtension* Catalog::byKey(const std::string& idKey) const noexcept {
    const auto found =
        std::find_if(extensions_.begin(), extensions_.end(),
                     [&](const InstalledExtension& each) { return each.row.idKey == idKey; });
    return found == extensions_.end() ? nullptr : &*found;
}

const InstalledExtension& Catalog::byNameOrId(const std::string& name) const {
    std::vector<const InstalledExtension*> named;
    for (const auto& extension : extensions_)
        if (extension.row.name == name)
            named.push_back(&extension);
    if (named.size() > 1)
        fail(Status::ambiguousName, name, idsOf(named));
    const InstalledExtension* found = named.empty() ? byKey(toIdKey(name)) : named.front();
    if (found == nullptr)
        fail(Status::extensionNotFound, name);
    return *found;
}

const std::vector<const InstalledExtension*>& Catalog::ofProduct(const std::string& product) const {
    static const std::vector<const InstalledExtension*> kNone;
    const auto found = byProduct_.find(product);
    return found == byProduct_.end() ? kNone : found->second;
}

}  // namespace tavik
