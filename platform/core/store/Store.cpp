#include "platform/core/store/Store.h"

#include <algorithm>
#include <unordered_set>

#include "platform/core/products/Fit.h"
#include "platform/core/store/StoreChange.h"
#include "platform/core/texts/Status.h"
#include "platform/core/trust/Signer.h"

namespace tavik {
namespace {

void requireReplaceable(const ExtensionRow& installed, const Package& package,
                        const InstallDetails& details) {
    const Version& version = package.manifest().version;
    if (version < Version::parse(installed.version).value_or(Version()))
        fail(Status::olderVersion, package.path(),
             "installed: " + installed.version + "; package: " + version.text());
    requireSameSigner(installed.signer, details.signer, package.path());
}

ExtensionRow rowOf(const Manifest& manifest, const InstallDetails& details) {
    ExtensionRow row;
    row.id = manifest.id;
    row.idKey = manifest.idKey;
    row.name = manifest.name;
    row.version = manifest.version.text();
    row.storeName = manifest.storeName;
    row.updateUrl = manifest.updateUrl;
    row.folder = newFolderName(manifest.id);
    row.signer = details.signer;
    row.packageDigest = details.packageDigest;
    row.requiresAccount = manifest.requiresAccount;
    for (const auto& product : manifest.products)
        row.products.push_back({product.name, product.minVersion ? product.minVersion->text() : "",
                                product.maxVersion ? product.maxVersion->text() : ""});
    return row;
}

bool contains(const std::vector<LinkPlace>& places, const LinkPlace& place) {
    return std::any_of(places.begin(), places.end(), [&](const LinkPlace& each) {
        return each.folder == place.folder && each.name == place.name;
    });
}

}  // namespace

Store::Store(StoreFolder folder, const ProductCatalog& products, WarningSink warn)
    : folder_(std::move(folder)), products_(products), warn_(std::move(warn)) {}

ExtensionRow Store::install(const Package& package, const InstallDetails& details) {
    StoreChange change(folder_);
    repairAfterInterruption(change);

    const auto before = change.table().find(package.manifest().idKey);
    ExtensionRow row = rowOf(package.manifest(), details);
    if (before) {
        requireReplaceable(*before, package, details);
        row.state = before->state;
    }
    prepareLinks(change, row);

    change.publish(package, row.folder, details.progress);
    change.commit([&](ExtensionTable& table) { table.put(row); },
                  [&](ExtensionTable& table) {
                      const auto now = table.find(row.idKey);
                      return now && now->folder == row.folder;
                  },
                  [&] { change.discard(row.folder); });
    updateLinks(change, before, row);
    if (before)
        change.retire(before->folder);
    change.finish();
    return row;
}

void Store::remove(const std::string& idKey, const std::string& name) {
    StoreChange change(folder_);
    repairAfterInterruption(change);
    const auto before = change.table().find(idKey);
    if (!before)
        fail(Status::extensionNotFound, name);

    change.mark();
    change.commit([&](ExtensionTable& table) { table.remove(idKey); },
                  [&](ExtensionTable& table) { return !table.find(idKey); }, [] {});
    updateLinks(change, before, std::nullopt);
    change.retire(before->folder);
    change.finish();
}

void Store::setState(const std::string& idKey, const std::string& name, ExtensionState state) {
    StoreChange change(folder_);
    repairAfterInterruption(change);
    const auto before = change.table().find(idKey);
    if (!before)
        fail(Status::extensionNotFound, name);
    ExtensionRow row = *before;
    row.state = state;
    prepareLinks(change, row);

    change.mark();
    change.commit([&](ExtensionTable& table) { table.setState(idKey, state); },
                  [&](ExtensionTable& table) {
                      const auto now = table.find(idKey);
                      return now && now->state == state;
                  },
                  [] {});
    updateLinks(change, before, row);
    change.finish();
}

void Store::repairAfterInterruption(StoreChange& change) {
    if (!change.wasInterrupted())
        return;
    change.table().settle();
    const auto rows = change.table().readAll();
    bool repaired = true;
    for (const auto& product : products_.products()) {
        try {
            repairLinks(change, product, rows);
        } catch (const Error& error) {
            warn_(error);
            repaired = false;
        }
    }
    if (!repaired)
        change.keepMark();
    change.sweep();
}

void Store::repairLinks(StoreChange& change, const Product& product,
                        const std::vector<ExtensionRow>& rows) {
    const std::string folder = extensionsFolderOf(product, folder_.location());
    std::unordered_set<std::string> wanted;
    for (const auto& row : rows)
        for (const auto& place : placesOf(row))
            if (place.folder == folder) {
                prepareLink(place, change.lock());
                switchLink(place, contentOf(row), change.lock());
                wanted.insert(place.name);
            }
    for (const auto& name : linksInto(folder_, folder))
        if (wanted.count(name) == 0)
            removeLink({folder, name}, folder_, change.lock());
}

void Store::prepareLinks(const StoreChange& change, const ExtensionRow& row) {
    for (const auto& place : placesOf(row))
        prepareLink(place, change.lock());
}

void Store::updateLinks(StoreChange& change, const std::optional<ExtensionRow>& before,
                        const std::optional<ExtensionRow>& after) {
    // The change is committed: trouble with a link is reported and left for the next change.
    try {
        const auto wanted = after ? placesOf(*after) : std::vector<LinkPlace>();
        for (const auto& place : wanted)
            switchLink(place, contentOf(*after), change.lock());
        for (const auto& place : before ? possiblePlacesOf(*before) : std::vector<LinkPlace>())
            if (!contains(wanted, place))
                removeLink(place, folder_, change.lock());
    } catch (const Error& error) {
        change.keepMark();
        warn_(error);
    }
}

std::vector<LinkPlace> Store::placesOf(const ExtensionRow& row) const {
    if (row.state == ExtensionState::disabled)
        return {};
    return placesWhere(row, [](const ProductRange& range, const Product& product) {
        return fits(range, product);
    });
}

std::vector<LinkPlace> Store::possiblePlacesOf(const ExtensionRow& row) const {
    return placesWhere(row, [](const ProductRange&, const Product&) { return true; });
}

template <class Condition>
std::vector<LinkPlace> Store::placesWhere(const ExtensionRow& row, Condition condition) const {
    std::vector<LinkPlace> places;
    for (const auto& range : row.products) {
        const Product* product = products_.byName(range.product);
        if (product == nullptr || !condition(range, *product))
            continue;
        LinkPlace place{extensionsFolderOf(*product, folder_.location()), row.id};
        if (!contains(places, place))
            places.push_back(std::move(place));
    }
    return places;
}

std::string Store::contentOf(const ExtensionRow& row) const {
    return folder_.path() + "/ext/" + row.folder;
}

}  // namespace tavik
