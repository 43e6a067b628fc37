#include "platform/core/store/Store.h"

#include "platform/core/disk/Reserve.h"
#include "platform/core/status/Status.h"
#include "platform/core/store/StoreChange.h"

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
    row.signer = details.signer.key;
    row.requiresAccount = manifest.requiresAccount;
    row.products = manifest.products;
    return row;
}

bool isFullDisk(const Error& error) {
    return error.status() == static_cast<int>(Status::diskFull);
}

}  // namespace

Store::Store(StoreFolder folder, std::optional<StoreLocation> other, const ProductCatalog& products,
             WarningSink warn)
    : folder_(std::move(folder)),
      other_(std::move(other)),
      links_(folder_, other_, products),
      warn_(std::move(warn)) {}

ExtensionRow Store::install(const Package& package, const InstallDetails& details) {
    try {
        return tryInstall(package, details);
    } catch (const Error& error) {
        // What could not be undone without room for a line in the log is undone with the reserve's.
        if (isFullDisk(error) && releaseReserve(folder_.descriptor()))
            tidyUp();
        throw;
    }
}

void Store::remove(const std::string& idKey, const std::string& name) {
    try {
        tryRemove(idKey, name);
    } catch (const Error& error) {
        if (!isFullDisk(error) || !releaseReserve(folder_.descriptor()))
            throw;
        tryRemove(idKey, name);
    }
}

void Store::setState(const std::string& idKey, const std::string& name, ExtensionState state) {
    try {
        trySetState(idKey, name, state);
    } catch (const Error& error) {
        if (!isFullDisk(error) || !releaseReserve(folder_.descriptor()))
            throw;
        trySetState(idKey, name, state);
    }
}

ExtensionRow Store::tryInstall(const Package& package, const InstallDetails& details) {
    StoreChange change(folder_);
    catchUp(change);

    const auto before = change.table().find(package.manifest().idKey);
    ExtensionRow row = rowOf(package.manifest(), details);
    if (before) {
        requireReplaceable(*before, package, details);
        row.state = before->state;
    }
    links_.prepare(row, change.lock());

    change.publish(package, row.folder, details.progress, details.content.get());
    change.commit([&](ExtensionTable& table) { table.put(row); },
                  [&](ExtensionTable& table) {
                      const auto now = table.find(row.idKey);
                      return now && now->folder == row.folder;
                  },
                  [&] { change.discard(row.folder); });
    const OldLinks oldLinks = updateLinks(change, before, row);
    if (before && oldLinks == OldLinks::gone)
        change.retire(before->folder);
    change.finish();
    return row;
}

void Store::tryRemove(const std::string& idKey, const std::string& name) {
    StoreChange change(folder_);
    catchUp(change);
    const auto before = change.table().find(idKey);
    if (!before)
        fail(Status::extensionNotFound, name);

    change.mark();
    change.commit([&](ExtensionTable& table) { table.remove(idKey); },
                  [&](ExtensionTable& table) { return !table.find(idKey); }, [] {});
    if (updateLinks(change, before, std::nullopt) == OldLinks::gone)
        change.retire(before->folder);
    change.finish();
}

void Store::trySetState(const std::string& idKey, const std::string& name, ExtensionState state) {
    StoreChange change(folder_);
    catchUp(change);
    const auto before = change.table().find(idKey);
    if (!before)
        fail(Status::extensionNotFound, name);
    ExtensionRow row = *before;
    row.state = state;
    links_.prepare(row, change.lock());

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

void Store::tidyUp() noexcept {
    try {
        StoreChange change(folder_);
        catchUp(change);
        change.finish();
    } catch (const std::exception&) {
        // The failure that led here is reported; the next change tries again.
    }
}

/// Finishes or undoes what an interrupted change left, and follows the host products' changes.
void Store::catchUp(StoreChange& change) {
    if (change.wasInterrupted()) {
        change.emptyStaging();
        change.table().settle();
        if (repairLinks(change) == OldLinks::gone)
            change.sweep();
    } else if (change.table().linkedProducts() != links_.productsText() ||
               links_.isIncomplete(change.table())) {
        repairLinks(change);
    }
}

Store::OldLinks Store::repairLinks(StoreChange& change) {
    try {
        const std::string products = links_.productsText();
        const std::string linked = change.table().linkedProducts();
        links_.repair(change.table().readAll(), linked, change.lock());
        if (products != linked)
            change.table().setLinkedProducts(products);
        return OldLinks::gone;
    } catch (const Error& error) {
        change.keepMark();
        warn_(error);
        return OldLinks::mayRemain;
    }
}

Store::OldLinks Store::updateLinks(StoreChange& change, const std::optional<ExtensionRow>& before,
                                   const std::optional<ExtensionRow>& after) {
    // The change is committed: trouble with a link is reported and left for the next change.
    try {
        links_.update(before, after, change.lock());
        return OldLinks::gone;
    } catch (const Error& error) {
        change.keepMark();
        warn_(error);
        return OldLinks::mayRemain;
    }
}

void Store::setMask(const ExtensionRow& shared, ExtensionState state) {
    StoreChange change(folder_);
    catchUp(change);
    change.mark();
    links_.setMask(shared, state, change.lock());
    change.finish();
}

}  // namespace tavik
