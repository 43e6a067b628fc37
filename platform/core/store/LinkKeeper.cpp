// A host application finds an extension through a link in the product's folder. The links are made
// from the rows, after the rows' commit, and the rows are never changed for a link's sake. What can
// go wrong between the two, and what answers it:
//
// 1. The link cannot be put in its place. prepare() finds that out before the commit, and keeps the
//    folders open, so that update() works in the folders that were checked.
// 2. The link cannot be switched after the commit, or the process ends before. Then update()
//    throws, or the process is gone. The store keeps its mark and the old folder, and the next
//    change runs repair(), which makes all links from the rows. Only after that are folders without
//    a row deleted, so no link ever dangles.
// 3. Somebody deletes a link or a folder of links. isIncomplete() compares links with rows at the
//    start of each change, and repair() follows.
// 4. Both stores put their links in one folder, because a descriptor names it. They have no lock in
//    common: whoever could open such a lock could hold up root. Instead each store commits its own
//    row first, sets the links that both want together, by the other's rows as it last saw them,
//    and then reads those rows (settle). It starts anew where they have changed. Of two stores that
//    do this at once, the one that reads last sees both commits, so its links are right, and the
//    other one either sees the same or does not write after it. The first look at the other's rows
//    is taken before the commit (prepare): between the commit and the link, no other database is
//    opened. A process that ends in between leaves its mark; the other store's next repair()
//    corrects its links too.
// 5. The store is moved, or restored from a backup in another place. Its links still have the old
//    path in their targets. linkedProductsText() begins with the store's path, so the next change
//    or list sees that it is another one (wasMoved), and repair() follows. LinkTargets says which
//    links are the store's all the same.
//
// The user's link goes before the shared store's. Where the user has switched his own extension
// off, a mask keeps the host application from showing the shared one. It is made before the
// own link goes, and removed after the own link is back, so the shared one never shows in between.

#include "platform/core/store/LinkKeeper.h"

#include <algorithm>
#include <exception>
#include <set>
#include <unordered_set>

#include "platform/core/products/Fit.h"
#include "platform/core/status/Status.h"
#include "platform/core/store/LinkedProducts.h"

namespace tavik {
namespace {

constexpr int kMaxRounds = 20;

template <class Places>
bool contains(const Places& places, const std::string& folder, const std::string& name) {
    return std::any_of(places.begin(), places.end(), [&](const auto& each) {
        return each.folder == folder && each.name == name;
    });
}

std::set<std::string> productsOf(const ExtensionRow& row) {
    std::set<std::string> products;
    for (const auto& wanted : row.products)
        products.insert(wanted.name);
    return products;
}

/// Runs every step, and then throws the first failure.
class Attempts {
  public:
    template <class Work>
    void run(Work work) {
        // Any failure: a lack of memory in one step is no reason to leave out the others.
        try {
            work();
        } catch (...) {
            if (!first_)
                first_ = std::current_exception();
        }
    }

    void report() const {
        if (first_)
            std::rethrow_exception(first_);
    }

  private:
    std::exception_ptr first_;
};

}  // namespace

LinkKeeper::LinkKeeper(const StoreFolder& store, const std::optional<StoreLocation>& other,
                       const ProductCatalog& products, Settlement& settlement)
    : store_(store),
      other_(other),
      products_(products),
      settlement_(settlement),
      masks_(store),
      targets_(store, other) {}

void LinkKeeper::prepare(const ExtensionRow& row, const StoreLock&) {
    folders_.clear();
    for (const auto& place : placesOf(row))
        folderAt(place.folder, Missing::isMade)->requireRoomFor(place.name);
    readAhead(row);
}

void LinkKeeper::readAhead(const ExtensionRow& row) {
    ahead_.reset();
    const bool isMasking =
        store_.location().scope == Scope::user && row.state == ExtensionState::disabled;
    const bool isShared =
        other_ && std::any_of(row.products.begin(), row.products.end(), [&](const auto& wanted) {
            const Product* product = products_.byName(wanted.name);
            return product != nullptr && isCommonFolder(*product);
        });
    if (!isMasking && !isShared)
        return;
    try {
        ahead_ = othersRows(std::vector<std::string>{row.id});
    } catch (const Error&) {
        // A store that cannot be read is no reason against a change of this one: update() meets it
        // again, and the change warns.
    }
}

/// The first look at the other store's rows in an update(): the one that prepare() has taken.
std::vector<ExtensionRow> LinkKeeper::othersAtFirst(const Names& names) const {
    return ahead_ ? *ahead_ : othersRows(names);
}

void LinkKeeper::update(const std::optional<ExtensionRow>& before,
                        const std::optional<ExtensionRow>& after, const StoreLock& lock) {
    const bool isUsers = store_.location().scope == Scope::user;
    Attempts attempts;
    // A switched-off extension masks the shared one of its id, now or whenever it comes.
    if (isUsers && after && after->state == ExtensionState::disabled)
        attempts.run([&] {
            mask(*after, lock);
            const Names name = std::vector<std::string>{after->id};
            const auto others = ahead_ ? ahead_ : othersRowsIfUsable(name);
            for (const auto& shared : others.value_or(std::vector<ExtensionRow>()))
                mask(shared, lock);
        });

    // The row's state and the products' versions may have changed, so every product that it names
    // is looked at.
    std::set<std::string> folders;
    std::vector<std::string> names;
    for (const auto* row : {before ? &*before : nullptr, after ? &*after : nullptr}) {
        if (row == nullptr)
            continue;
        names.push_back(row->id);
        for (const auto& wanted : row->products)
            if (const Product* product = products_.byName(wanted.name))
                folders.insert(extensionsFolderOf(*product, store_.location()));
    }
    const auto rows = after ? std::vector<ExtensionRow>{*after} : std::vector<ExtensionRow>();
    for (const auto& folder : folders)
        attempts.run([&] { settle(folder, rows, names); });

    if (isUsers && after && after->state == ExtensionState::enabled)
        attempts.run([&] { masks_.clear(after->idKey, settlement_, lock); });
    // A user who removes an extension that is switched off does not expect the shared one to
    // appear.
    if (isUsers && !after && before && before->state == ExtensionState::disabled)
        attempts.run([&] {
            if (const auto others = othersRowsIfUsable(names); others && others->empty())
                masks_.clear(before->idKey, settlement_, lock);
        });
    attempts.run([&] { synchronise(); });
    attempts.report();
}

void LinkKeeper::repair(const std::vector<ExtensionRow>& rows, const std::string& linkedProducts,
                        const StoreLock& lock) {
    Attempts attempts;
    if (store_.location().scope == Scope::user)
        attempts.run([&] { repairMasks(rows, lock); });
    std::set<std::string> folders;
    for (const auto& product : products_.products())
        folders.insert(extensionsFolderOf(product, store_.location()));
    // A product that is gone, or that uses another folder now, has left its links behind.
    folders.merge(foldersInLinkedProducts(linkedProducts));
    folders_.clear();
    ahead_.reset();
    for (const auto& folder : folders)
        attempts.run([&] { settle(folder, rows, std::nullopt); });
    attempts.run([&] { synchronise(); });
    attempts.report();
}

bool LinkKeeper::isIncomplete(ExtensionTable& table) {
    Arena texts;
    const ExtensionList list = table.readList(texts);
    if (store_.location().scope == Scope::user && areMasksIncomplete(list))
        return true;
    const auto rowFolders = table.readFolders();
    const std::unordered_set<std::string> known(rowFolders.begin(), rowFolders.end());
    std::map<std::string, LinkFolder::Targets> linksByProduct;
    for (const auto& product : products_.products()) {
        const std::string folder = extensionsFolderOf(product, store_.location());
        LinkFolder::Targets& links = linksByProduct[product.name];
        try {
            links = LinkFolder::targetsAt(folder, closedAt(folder));
        } catch (const Error&) {
            return true;  // repair() meets it again, and the change warns
        }
        // A change of the other store may have been interrupted.
        if (isCommonFolder(product) && targets_.hasDangling(links))
            return true;
    }
    for (const auto& [at, product] : list.memberships) {
        const auto& extension = list.extensions[at];
        const auto links = linksByProduct.find(std::string(product));
        if (extension.state == ExtensionState::disabled || links == linksByProduct.end())
            continue;
        const std::string folder =
            extensionsFolderOf(*products_.byName(links->first), store_.location());
        const std::string id(extension.id);
        const auto link = links->second.find(id);
        if (link != links->second.end() && (isOthersLink(folder, link->second) ||
                                            known.count(targets_.folderIn(link->second, id)) != 0))
            continue;
        const auto row = table.find(std::string(extension.idKey));
        if (row && contains(placesOf(*row), folder, row->id))
            return true;
    }
    return false;
}

bool LinkKeeper::areMasksIncomplete(const ExtensionList& list) const {
    const Masks masks = masks_.read();
    for (const auto& each : list.extensions)
        if ((masks.count(std::string(each.idKey)) != 0) != (each.state == ExtensionState::disabled))
            return true;
    if (masks.empty())
        return false;
    for (const auto& [at, product] : list.memberships) {
        const auto& each = list.extensions[at];
        if (each.state == ExtensionState::disabled &&
            !isMaskedFor(masks, std::string(each.idKey), std::string(product)))
            return true;
    }
    // What the own store has switched off masks the shared one of its id as well.
    std::vector<std::string> names;
    for (const auto& mask : masks)
        names.push_back(mask.first);
    const auto others = othersRowsIfUsable(names);
    return others && std::any_of(others->begin(), others->end(), [&](const ExtensionRow& shared) {
               return !isCovered(masks, shared);
           });
}

void LinkKeeper::setMask(const ExtensionRow& shared, const StoreLock& lock) {
    mask(shared, lock);
    synchroniseMasks();
}

void LinkKeeper::clearMask(const ExtensionRow& shared, const StoreLock& lock) {
    masks_.clear(shared.idKey, settlement_, lock);
}

/// Makes links and masks durable, with one call where all of them are on the store's file system.
void LinkKeeper::synchronise() {
    const bool isStoreDone = masks_.synchronise();
    Attempts attempts;
    for (auto& [path, folder] : folders_)
        if (!isStoreDone || !targets_.isBelowStore(path))
            attempts.run([&, &folder = folder] { folder.synchronise(); });
    attempts.report();
}

void LinkKeeper::mask(const ExtensionRow& row, const StoreLock& lock) {
    masks_.set(row.id, productsOf(row), settlement_, lock);
}

void LinkKeeper::repairMasks(const std::vector<ExtensionRow>& rows, const StoreLock& lock) {
    Masks masked = masks_.read();
    for (const auto& row : rows) {
        if (row.state == ExtensionState::disabled) {
            mask(row, lock);
            masked[row.idKey];
        } else if (masked.erase(row.idKey) != 0) {
            masks_.clear(row.idKey, settlement_, lock);
        }
    }
    // The shared store's extension may have been made for more products by now.
    if (masked.empty())
        return;
    for (const auto& shared :
         othersRowsIfUsable(std::nullopt).value_or(std::vector<ExtensionRow>()))
        if (masked.count(shared.idKey) != 0)
            mask(shared, lock);
}

/// What the links depend on in the other store: the rows with these names, or all.
std::vector<ExtensionRow> LinkKeeper::othersRows(const Names& names) const {
    const auto store = other_ ? StoreFolder::open(*other_) : std::nullopt;
    auto table = store ? ExtensionTable::openForReading(*store) : std::nullopt;
    if (!table)
        return {};
    if (!names)
        return table->readAll();
    std::vector<ExtensionRow> rows;
    std::set<std::string> keys;
    for (const auto& name : *names)
        if (keys.insert(toIdKey(name)).second)
            if (auto row = table->find(toIdKey(name)))
                rows.push_back(std::move(*row));
    return rows;
}

/// The same for the masks. Nothing where the other store cannot be used: that is no reason against
/// a change of this one, and the first list after its repair completes the masks.
std::optional<std::vector<ExtensionRow>> LinkKeeper::othersRowsIfUsable(const Names& names) const {
    try {
        return othersRows(names);
    } catch (const Error& error) {
        if (!isUnusableStore(error))
            throw;
        return std::nullopt;
    }
}

bool LinkKeeper::hasFolderOutside() const {
    const auto& products = products_.products();
    return std::any_of(products.begin(), products.end(), [&](const Product& each) {
        Product usual = each;
        usual.extensionsFolder.clear();
        return extensionsFolderOf(each, store_.location()) !=
               extensionsFolderOf(usual, store_.location());
    });
}

bool LinkKeeper::isCommon(const std::string& folder) const {
    const auto& products = products_.products();
    return other_ && std::any_of(products.begin(), products.end(), [&](const Product& each) {
               return isCommonFolder(each) && each.extensionsFolder == folder;
           });
}

std::vector<LinkKeeper::Place> LinkKeeper::placesOf(const ExtensionRow& row) const {
    std::vector<Place> places;
    if (row.state == ExtensionState::disabled)
        return places;
    for (const auto& wanted : row.products) {
        const Product* product = products_.byName(wanted.name);
        if (product == nullptr || !fits(wanted, *product))
            continue;
        std::string folder = extensionsFolderOf(*product, store_.location());
        if (!contains(places, folder, row.id))
            places.push_back({std::move(folder), row.id});
    }
    return places;
}

/// The same question for a row of either store, about a folder that both use.
bool LinkKeeper::wantsLinkIn(const std::string& commonFolder, const ExtensionRow& row) const {
    return row.state == ExtensionState::enabled &&
           std::any_of(row.products.begin(), row.products.end(), [&](const auto& wanted) {
               const Product* product = products_.byName(wanted.name);
               return product != nullptr && isCommonFolder(*product) &&
                      product->extensionsFolder == commonFolder && fits(wanted, *product);
           });
}

LinkKeeper::Links LinkKeeper::wantedIn(const std::string& folder,
                                       const std::vector<ExtensionRow>& rows,
                                       const std::vector<ExtensionRow>& rowsOfOther) const {
    Links own;
    for (const auto& row : rows)
        if (contains(placesOf(row), folder, row.id))
            own.emplace(row.id, targets_.own(row.folder));
    Links others;
    for (const auto& row : rowsOfOther)
        if (wantsLinkIn(folder, row))
            others.emplace(row.id, targets_.others(row.folder));
    const bool isUsers = store_.location().scope == Scope::user;
    Links& first = isUsers ? own : others;
    first.merge(isUsers ? others : own);
    return std::move(first);
}

void LinkKeeper::settle(const std::string& folder, const std::vector<ExtensionRow>& rows,
                        const Names& names) {
    if (!isCommon(folder))
        return apply(folder, wantedIn(folder, rows, {}), names);
    Links wanted = wantedIn(folder, rows, othersAtFirst(names));
    for (int round = 0; round < kMaxRounds; ++round) {
        apply(folder, wanted, names);
        Links now = wantedIn(folder, rows, othersRows(names));
        if (now == wanted)
            return;
        wanted = std::move(now);
    }
    fail(Status::storeBusy, folder, "the other store of this folder changes again and again");
}

void LinkKeeper::apply(const std::string& path, const Links& wanted, const Names& names) {
    // Our own folder is opened first: where that fails, a link may stand in it all the same.
    if (names && targets_.isBelowStore(path))
        folderAt(path, Missing::isReported);
    const auto gone = unwanted(path, wanted, names);
    if (wanted.empty() && gone.empty())
        return;
    LinkFolder* folder = folderAt(path, wanted.empty() ? Missing::isReported : Missing::isMade);
    if (folder == nullptr)
        return;
    const Settlement::Step step(settlement_, path);
    Attempts attempts;
    for (const auto& [name, target] : wanted)
        attempts.run([&, &name = name, &target = target] { folder->point(name, target); });
    for (const auto& name : gone)
        attempts.run([&] { folder->remove(name); });
    attempts.report();
}

/// The links of ours that nobody wants. This only looks: a folder in which there is nothing to do
/// need not be one that we may change.
std::vector<std::string> LinkKeeper::unwanted(const std::string& path, const Links& wanted,
                                              const Names& names) const {
    LinkFolder::Targets links;
    if (!names)
        links = LinkFolder::targetsAt(path, closedAt(path));
    else
        for (const auto& name : *names)
            links[name] = LinkFolder::targetAt(path, name, closedAt(path));
    std::vector<std::string> gone;
    for (const auto& [name, target] : links)
        if (wanted.count(name) == 0 &&
            (targets_.isOwn(path, name, target) || isOthersLink(path, target)))
            gone.push_back(name);
    return gone;
}

/// Whoever may change a store may enter its folders. Elsewhere a folder can be closed to this user.
Closed LinkKeeper::closedAt(const std::string& path) const {
    return targets_.isBelowStore(path) ? Closed::isFailure : Closed::isEmpty;
}

bool LinkKeeper::isOthersLink(const std::string& folder, const std::string& target) const {
    return targets_.isOthers(target) && isCommon(folder);
}

LinkFolder* LinkKeeper::folderAt(const std::string& path, Missing missing) {
    const auto known = folders_.find(path);
    if (known != folders_.end())
        return &known->second;
    auto folder = LinkFolder::open(
        store_, path, missing, [this, path](const std::string& name, const std::string& target) {
            return targets_.isOwn(path, name, target) || targets_.isOthers(target);
        });
    return folder ? &folders_.emplace(path, std::move(*folder)).first->second : nullptr;
}

}  // namespace tavik
