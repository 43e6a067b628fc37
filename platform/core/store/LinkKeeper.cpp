#include "platform/core/store/LinkKeeper.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <unordered_map>

#include "platform/core/disk/Folders.h"
#include "platform/core/products/Fit.h"
#include "platform/core/status/Status.h"

namespace tavik {
namespace {

bool leadsBelow(const std::string& prefix, const std::string& target) {
    return !prefix.empty() && target.compare(0, prefix.size(), prefix) == 0;
}

bool contains(const std::vector<LinkPlace>& places, const LinkPlace& place) {
    return std::any_of(places.begin(), places.end(), [&](const LinkPlace& each) {
        return each.folder == place.folder && each.name == place.name;
    });
}

void add(std::vector<LinkPlace>& places, LinkPlace place) {
    if (!contains(places, place))
        places.push_back(std::move(place));
}

std::string contentBelow(const std::string& familyFolder) {
    return familyFolder + "/ext/";
}

}  // namespace

LinkKeeper::LinkKeeper(const StoreFolder& store, const std::optional<StoreLocation>& other,
                       const ProductCatalog& products)
    : store_(store),
      other_(other),
      products_(products),
      content_(contentBelow(store.path())),
      othersContent_(other ? contentBelow(realPath(other->familyFolder())) : "") {}

void LinkKeeper::prepare(const ExtensionRow& row, const StoreLock&) const {
    for (const auto& place : placesOf(row, store_.location())) {
        const LinkFolder folder = LinkFolder::make(place.folder);
        folder.requireRoomFor(place.name);
        const auto target = folder.target(place.name);
        if (target && !isOurs(*target) && !isOthers(*target))
            fail(Status::storeUnsafe, place.folder + "/" + place.name,
                 "a link to " + *target + " stands where the extension's link belongs");
    }
}

void LinkKeeper::update(const std::optional<ExtensionRow>& before,
                        const std::optional<ExtensionRow>& after, const StoreLock&) const {
    const auto wanted = after ? placesOf(*after, store_.location()) : std::vector<LinkPlace>();
    for (const auto& place : wanted) {
        LinkFolder folder = LinkFolder::make(place.folder);
        if (!yields(folder, place.name))
            folder.point(place.name, contentOf(*after));
        folder.synchronise();
    }
    for (const auto& place : before ? possiblePlacesOf(*before) : std::vector<LinkPlace>()) {
        auto folder = contains(wanted, place) ? std::nullopt : LinkFolder::open(place.folder);
        if (!folder)
            continue;
        takeAway(*folder, place.name);
        folder->synchronise();
    }
}

void LinkKeeper::repair(const std::vector<ExtensionRow>& rows, const std::string& linkedProducts,
                        const StoreLock&) const {
    std::set<std::string> folders;
    for (const auto& product : products_.products())
        folders.insert(extensionsFolderOf(product, store_.location()));
    // A product that is gone by now, or looks elsewhere, has left its links behind.
    std::istringstream lines(linkedProducts);
    for (std::string line; std::getline(lines, line);)
        if (const auto tab = line.rfind('\t'); tab != std::string::npos)
            folders.insert(line.substr(tab + 1));
    for (const auto& folder : folders)
        repairFolder(folder, rows);
}

void LinkKeeper::repairFolder(const std::string& path,
                              const std::vector<ExtensionRow>& rows) const {
    std::unordered_map<std::string, std::string> wanted;
    for (const auto& row : rows)
        for (const auto& place : placesOf(row, store_.location()))
            if (place.folder == path)
                wanted.emplace(place.name, contentOf(row));
    auto folder = wanted.empty() ? LinkFolder::open(path) : LinkFolder::make(path);
    if (!folder)
        return;
    for (const auto& [name, target] : wanted)
        if (!yields(*folder, name)) {
            folder->requireRoomFor(name);
            folder->point(name, target);
        }
    for (const auto& name : folder->linksBelow(content_))
        if (wanted.count(name) == 0)
            takeAway(*folder, name);
    folder->synchronise();
}

std::string LinkKeeper::productsText() const {
    std::string text;
    for (const auto& product : products_.products())
        text += product.name + "\t" + product.version + "\t" +
                extensionsFolderOf(product, store_.location()) + "\n";
    return text;
}

bool LinkKeeper::isOurs(const std::string& target) const {
    return leadsBelow(content_, target);
}

bool LinkKeeper::isOthers(const std::string& target) const {
    return leadsBelow(othersContent_, target);
}

/// Whether what stands there goes before a link of this store.
bool LinkKeeper::yields(const LinkFolder& folder, const std::string& name) const {
    const auto target = folder.target(name);
    return store_.location().scope == Scope::shared && target && isOthers(*target);
}

/// Removes our link; where the other store has the same extension for this folder, its link comes
/// in the place.
void LinkKeeper::takeAway(LinkFolder& folder, const std::string& name) const {
    const auto target = folder.target(name);
    if (!target || !isOurs(*target))
        return;
    if (const auto others = othersTarget(folder.path(), name))
        folder.point(name, *others);
    else
        folder.remove(name);
}

std::optional<std::string> LinkKeeper::othersTarget(const std::string& folder,
                                                    const std::string& name) const {
    const auto store = other_ ? StoreFolder::open(*other_) : std::nullopt;
    auto table = store ? ExtensionTable::openForReading(*store) : std::nullopt;
    const auto row = table ? table->find(toIdKey(name)) : std::nullopt;
    if (!row || !contains(placesOf(*row, *other_), {folder, row->id}))
        return std::nullopt;
    return othersContent_ + row->folder;
}

std::vector<LinkPlace> LinkKeeper::placesOf(const ExtensionRow& row,
                                            const StoreLocation& store) const {
    std::vector<LinkPlace> places;
    if (row.state == ExtensionState::disabled)
        return places;
    for (const auto& wanted : row.products) {
        const Product* product = products_.byName(wanted.name);
        if (product != nullptr && fits(wanted, *product))
            add(places, {extensionsFolderOf(*product, store), row.id});
    }
    return places;
}

/// Where links of it may stand: its state and the products' versions may have been others.
std::vector<LinkPlace> LinkKeeper::possiblePlacesOf(const ExtensionRow& row) const {
    std::vector<LinkPlace> places;
    for (const auto& wanted : row.products)
        if (const Product* product = products_.byName(wanted.name))
            add(places, {extensionsFolderOf(*product, store_.location()), row.id});
    return places;
}

std::string LinkKeeper::contentOf(const ExtensionRow& row) const {
    return content_ + row.folder;
}

}  // namespace tavik
