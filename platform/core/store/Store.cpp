// What each change does first, and why, stands in Store.h; the steps of one change in
// StoreChange.h.

#include "platform/core/store/Store.h"

#include "platform/core/disk/Reserve.h"
#include "platform/core/status/Status.h"
#include "platform/core/store/FolderName.h"
#include "platform/core/store/LinkedProducts.h"

namespace tavik {
namespace {

void requireReplaceable(const ExtensionRow& installed, const Package& package,
                        const InstallDetails& details) {
    const Version& version = package.manifest().version;
    if (details.olderVersion == InstallDetails::OlderVersion::refused &&
        version < installed.version)
        fail(Status::olderVersion, package.path(),
             "installed: " + installed.version.text() + "; package: " + version.text());
    requireSameSigner(installed.signer, details.signer, package.path());
}

Operation operationOf(const std::optional<ExtensionRow>& before, const ExtensionRow& row) {
    if (!before)
        return Operation::install;
    return before->version == row.version ? Operation::reinstall : Operation::update;
}

HistoryLine lineFor(Operation operation, const ExtensionRow& row, const std::string& from,
                    const std::string& to) {
    HistoryLine line = newLine(operation, row.id, row.name);
    line.from = from;
    line.to = to;
    line.signer = row.signer;
    return line;
}

/// Does the work. If the disk is full, deletes the store's reserve and does `again`.
template <class Work, class Again>
auto withReserve(const StoreFolder& folder, Work work, Again again) {
    try {
        return work();
    } catch (const Error& error) {
        if (error.status() != static_cast<int>(Status::diskFull) ||
            !releaseReserve(folder.descriptor()))
            throw;
        return again();
    }
}

}  // namespace

Store::Store(StoreFolder folder, std::optional<StoreLocation> other, const ProductCatalog& products,
             WarningSink warn)
    : folder_(std::move(folder)),
      other_(std::move(other)),
      products_(products),
      settlement_(folder_, other_),
      links_(folder_, other_, products, settlement_),
      warn_(std::move(warn)) {}

ExtensionRow Store::install(const Package& package, const InstallDetails& details) {
    return withReserve(
        folder_, [&] { return tryInstall(package, details); },
        [&]() -> ExtensionRow {
            // The reserve is not for packages. It only gives room to delete what is left of this
            // one.
            finishInterrupted();
            throw;
        });
}

void Store::remove(const std::string& idKey, const std::string& name) {
    const auto work = [&] { tryRemove(idKey, name); };
    withReserve(folder_, work, work);
}

void Store::setState(const std::string& idKey, const std::string& name, ExtensionState state) {
    const auto work = [&] { trySetState(idKey, name, state); };
    withReserve(folder_, work, work);
}

void Store::record(const HistoryLine& line) {
    StoreChange change(folder_, settlement_, warn_);
    catchUp(change);
    change.table().addHistory(line);
    change.commit();
    change.finish();
}

void Store::setMask(const ExtensionRow& shared, ExtensionState state) {
    const auto work = [&] { trySetMask(shared, state); };
    withReserve(folder_, work, work);
}

void Store::repair() {
    settlement_.forget();
    StoreChange change(folder_, settlement_, warn_);
    catchUp(change);
    // A list of files without its folder is nothing that a change looks for.
    if (repairLinks(change) == OldLinks::gone)
        change.setAsideUnknown();
    commitLinkedProducts(change);
    change.finish();
}

bool Store::finishInterrupted() noexcept {
    try {
        StoreChange change(folder_, settlement_, warn_, std::chrono::milliseconds(0));
        catchUp(change);
        commitLinkedProducts(change);
        change.finish();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

ExtensionRow Store::tryInstall(const Package& package, const InstallDetails& details) {
    StoreChange change(folder_, settlement_, warn_);
    catchUp(change);

    const auto before = change.table().find(package.manifest().idKey);
    if (before)
        requireReplaceable(*before, package, details);
    ExtensionRow row = rowOf(package.manifest(), newFolderName(package.manifest().id));
    row.signer = details.signer.key;
    if (before)
        row.state = before->state;
    const HistoryLine line = lineFor(operationOf(before, row), row,
                                     before ? before->version.text() : "", row.version.text());
    row.installedAt = line.time;
    row.installedBy = line.by;
    links_.prepare(row, change.lock());
    if (before && details.setAside)
        if (const std::string path = change.setAsideOther(*before, package); !path.empty())
            details.setAside(path);
    // A copy of its own: once the store has changed, no memory may be needed outside of a warning.
    const std::optional<ExtensionRow> after = row;

    change.publish(package, row, details);
    change.table().put(row);
    change.table().addHistory(line);
    change.commit();
    const OldLinks oldLinks = updateLinks(change, before, after);
    if (before && oldLinks == OldLinks::gone)
        change.retire(before->folder);
    change.finish();
    return row;
}

void Store::tryRemove(const std::string& idKey, const std::string& name) {
    StoreChange change(folder_, settlement_, warn_);
    catchUp(change);
    const auto before = change.table().find(idKey);
    if (!before)
        fail(Status::extensionNotFound, name);

    change.table().remove(idKey);
    change.table().addHistory(lineFor(Operation::remove, *before, before->version.text(), ""));
    change.commit();
    if (updateLinks(change, before, std::nullopt) == OldLinks::gone)
        change.retire(before->folder);
    change.finish();
}

void Store::trySetState(const std::string& idKey, const std::string& name, ExtensionState state) {
    StoreChange change(folder_, settlement_, warn_);
    catchUp(change);
    const auto before = change.table().find(idKey);
    if (!before)
        fail(Status::extensionNotFound, name);
    // A link to nothing would make the host application fail.
    if (state == ExtensionState::enabled && !change.hasContent(*before))
        fail(Status::filesMissing, name, "ext/" + before->folder);
    std::optional<ExtensionRow> after = before;
    after->state = state;
    links_.prepare(*after, change.lock());

    const bool isNew = state != before->state;
    if (isNew) {
        const auto operation =
            state == ExtensionState::enabled ? Operation::enable : Operation::disable;
        change.table().setState(idKey, state);
        const std::string& version = after->version.text();
        change.table().addHistory(lineFor(operation, *after, version, version));
        change.commit();
    }
    // Also where nothing was to be changed: this is how a missing link is made again.
    updateLinks(change, before, after);
    change.finish();
}

/// No row holds a mask: it is there or not, and the commit only adds a line to the history. A
/// change that fails must leave no mask, and one that is done must not fail for its line. So a mask
/// is made before the commit, and taken away again where the commit fails. To take a mask away
/// needs no room on the disk, so that comes after the commit, where nothing has to be undone. The
/// rights that it needs are looked at before, so that the history has no line of what then fails.
void Store::trySetMask(const ExtensionRow& shared, ExtensionState state) {
    StoreChange change(folder_, settlement_, warn_);
    catchUp(change);
    const std::string version = shared.version.text();
    const bool isMasking = state == ExtensionState::disabled;
    change.table().addHistory(
        lineFor(isMasking ? Operation::mask : Operation::unmask, shared, version, version));
    change.mark();
    if (isMasking)
        setMaskAndCommit(change, shared);
    else
        commitAndClearMask(change, shared);
    change.finish();
}

void Store::setMaskAndCommit(StoreChange& change, const ExtensionRow& shared) {
    const bool isNew = !links_.isMasked(shared.idKey);
    try {
        links_.setMask(shared, change.lock());
        change.commit();
    } catch (const std::exception& failure) {
        if (isNew)
            takeMaskBack(change, shared);
        if (!isNew || !links_.hasMadeMask(shared.idKey))
            throw;
        // What cannot be taken back has happened. The next change completes it.
        change.keepMark();
        change.warn(failure);
    }
}

void Store::takeMaskBack(StoreChange& change, const ExtensionRow& shared) {
    try {
        links_.clearMask(shared, change.lock());
        links_.synchroniseMasks();
    } catch (const std::exception& failure) {
        change.keepMark();
        change.warn(failure);
    }
}

void Store::commitAndClearMask(StoreChange& change, const ExtensionRow& shared) {
    links_.requireClearableMask(shared.idKey);
    change.commit();
    links_.clearMask(shared, change.lock());
    try {
        links_.synchroniseMasks();
    } catch (const std::exception& failure) {
        change.keepMark();
        change.warn(failure);
    }
}

void Store::catchUp(StoreChange& change) {
    const bool isAdopted = change.adoptTable();
    if (change.wasInterrupted()) {
        change.emptyStaging();
        change.adoptForLostFolders();
        // The old folder of a link that could not be switched is still needed.
        if (repairLinks(change) == OldLinks::gone)
            change.sweep();
        return;
    }
    if (!change.isInOrder())
        settlement_.beginComparison();
    if ((!change.isInOrder() && change.reconcile()) || isAdopted ||
        change.table().linkedProducts() != linkedProductsText(products_, folder_) ||
        ((!change.isInOrder() || links_.hasFolderOutside()) && links_.isIncomplete(change.table())))
        repairLinks(change);
}

/// Without a commit of its own, the next list or change would find the same to do.
void Store::commitLinkedProducts(StoreChange& change) {
    if (change.table().areLinkedProductsNew())
        change.commit();
}

Store::OldLinks Store::repairLinks(StoreChange& change) {
    settlement_.distrust();
    try {
        const std::string products = linkedProductsText(products_, folder_);
        const std::string linked = change.table().linkedProducts();
        links_.repair(change.table().readAll(), linked, change.lock());
        if (products != linked)
            change.table().setLinkedProducts(products);
        return OldLinks::gone;
    } catch (const std::exception& failure) {
        change.keepMark();
        change.warn(failure);
        return OldLinks::mayRemain;
    }
}

Store::OldLinks Store::updateLinks(StoreChange& change, const std::optional<ExtensionRow>& before,
                                   const std::optional<ExtensionRow>& after) {
    // The change is committed: trouble with a link is reported and left for the next change.
    try {
        links_.update(before, after, change.lock());
        return OldLinks::gone;
    } catch (const std::exception& failure) {
        change.keepMark();
        change.warn(failure);
        return OldLinks::mayRemain;
    }
}

}  // namespace tavik
