// How a session answers a call:
//
// 1. Where the stores are is settled when it starts. Everything else is read when it is first
//    needed, so that a command pays for nothing that it does not use.
// 2. A list reads both stores once and keeps the result until this session changes a store. An
//    unfinished change is repaired first where that works at once; a list never waits for a lock.
// 3. Handles are numbers that this session gives to ids. The same id keeps its handle when the
//    lists are read anew, so a handle stays good across changes.
// 4. An install or update reads policy and keys once and passes them on: all its steps use the same
//    rules. The order is: what the policy allows, a fitting product, the signature, the signer of
//    what is installed, the account. Only then does the store take its lock and check again what
//    may have changed.
// 5. Before the store changes, the lists are marked as old, and the answer to an install is
//    prepared: after the commit nothing can fail for lack of memory, and no later call gives an old
//    answer.

#include "platform/core/session/Session.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/core/net/Online.h"
#include "platform/core/products/Fit.h"
#include "platform/core/status/Status.h"
#include "platform/core/store/ChangeMark.h"
#include "platform/core/store/LinkedProducts.h"
#include "platform/core/trust/PackageSignature.h"
#include "platform/support/DeferredTermination.h"
#include "platform/support/FileDescriptor.h"
#include "platform/support/Ownership.h"
#include "platform/support/ProgressLine.h"
#include "platform/support/Text.h"

namespace tavik {
namespace {

std::string checkedFamily(const std::string& family) {
    if (family.empty() || family.size() > 255 || family.front() == '.' ||
        family.find('/') != std::string::npos || !isPrintableText(family))
        fail(Status::invalidArgument, "product family", "\"" + family + "\" is no folder name");
    return family;
}

/// Everything would be there twice, and a change would wait for its own lock.
void requireTwoStores(const StoreLocation& user, const StoreLocation& shared) {
    struct stat one {};
    struct stat other {};
    if (user.root == shared.root ||
        (::stat(user.root.c_str(), &one) == 0 && ::stat(shared.root.c_str(), &other) == 0 &&
         one.st_dev == other.st_dev && one.st_ino == other.st_ino))
        fail(Status::noHome, user.root, user.variable + " leads to the store for all users");
}

/// Whether an ordinary user other than the current one owns the store or a folder on the way to it.
bool isForeign(const StoreLocation& location) {
    const std::string folder = location.familyFolder();
    for (auto end = folder.find('/', 1);; end = folder.find('/', end + 1)) {
        struct stat facts {};
        if (::lstat(folder.substr(0, end).c_str(), &facts) == 0 && !isOurs(facts))
            return true;
        if (end == std::string::npos)
            return false;
    }
}

}  // namespace

Session::Session(const std::string& locale, const std::string& family)
    : language_(languageOf(locale)),
      user_(userStore(checkedFamily(family))),
      shared_(sharedStore(family)) {
    if (user_)
        requireTwoStores(*user_, shared_);
}

const ProductCatalog& Session::products() {
    prepareList();
    return reachableProducts();
}

const ProductCatalog& Session::readProducts() {
    if (!products_) {
        products_ = ProductCatalog::load(locations());
        for (const auto& leftOut : products_->leftOut())
            warn(leftOut);
    }
    return *products_;
}

const ProductCatalog& Session::reachableProducts() {
    if (const auto& failure = readProducts().failure())
        warnOnce(*failure);
    return *products_;
}

const ProductCatalog& Session::allProducts() {
    if (const auto& failure = readProducts().failure())
        throw Error(*failure);
    return *products_;
}

const ProductCatalog& Session::listedProducts() {
    catalog();
    return products();
}

const std::vector<const InstalledExtension*>& Session::extensionsOf(
    const std::string& displayName) {
    const Product* product = products().byDisplayName(displayName);
    if (product == nullptr)
        fail(Status::productNotFound, displayName);
    return catalog().ofProduct(product->name);
}

const InstalledExtension& Session::extension(const std::string& nameOrId) {
    return catalog().byNameOrId(nameOrId);
}

const InstalledExtension& Session::extension(ExtensionHandle handle) {
    // What was just installed is known without reading the store again.
    if (lastInstalled_ != nullptr && lastInstalled_->handle == handle)
        return *lastInstalled_;
    catalog();
    const auto index = static_cast<std::size_t>(handle);
    if (handle < 0 || index >= byHandle_.size() || byHandle_[index] == nullptr)
        fail(Status::unknownHandle, std::to_string(handle));
    return *byHandle_[index];
}

const ExtensionCatalog& Session::catalog() {
    if (catalogIsCurrent_)
        return *catalog_;
    prepareList();
    const auto load = [this] {
        return ExtensionCatalog::load(locations(),
                                      [this](const StoreLocation& each) { return rowsOf(each); });
    };
    ExtensionCatalog fresh = load();
    if (user_ && !fresh.areMasksWhole() && finishInterrupted(*user_)) {
        tables_.clear();
        fresh = load();
    }
    fresh.assignHandles(byHandle_);
    catalog_ = std::move(fresh);
    catalogIsCurrent_ = true;
    lastInstalled_ = nullptr;
    installed_.clear();
    return *catalog_;
}

/// The rows of a store, for lists. Where this user may change the store, a list repairs an
/// unfinished change, an unsound database, and the links of a store that was moved. Otherwise it
/// uses what it can read.
std::optional<ExtensionTable> Session::openTable(const StoreLocation& location) {
    const auto folder = StoreFolder::open(location);
    if (!folder)
        return std::nullopt;
    if (hasMark(*folder))
        finishInterrupted(location);
    auto table = ExtensionTable::openForReading(*folder);
    if (!table || (!table->trouble() && !wasMoved(table->linkedProducts(), *folder)))
        return table;
    if (finishInterrupted(location))
        return ExtensionTable::openForReading(*folder);
    if (table->trouble())
        warnOnce(*table->trouble());
    return table;
}

/// The same, but if the shared store is not usable, it warns and leaves that store out.
std::optional<ExtensionTable> Session::openOrLeaveOut(const StoreLocation& location) {
    try {
        return openTable(location);
    } catch (const Error& error) {
        if (location.scope != Scope::shared || !user_ || !isUnusableStore(error))
            throw;
        warnOnce(error);
        return std::nullopt;
    }
}

/// The rows of a store as this session first read them: all steps of a command work with the same.
/// Null where there is no store. Valid until this session changes a store.
ExtensionTable* Session::rowsOf(const StoreLocation& location) {
    auto found = tables_.find(location.scope);
    if (found == tables_.end())
        found = tables_.emplace(location.scope, openOrLeaveOut(location)).first;
    return found->second ? &*found->second : nullptr;
}

bool Session::finishInterrupted(const StoreLocation& location) {
    if (interrupted_ == Interrupted::stays)
        return false;
    try {
        auto folder = StoreFolder::open(location);
        const auto other = location.scope == Scope::user ? std::optional(shared_) : user_;
        return folder &&
               Store(*std::move(folder), other, allProducts(), [this](const Error& warning) {
                   warn(warning);
               }).finishInterrupted();
    } catch (const Error&) {
        return false;  // The list does not depend on it, and a change will say why.
    }
}

ExtensionHandle Session::handleFor(std::string_view idKey) const {
    const auto found = std::find_if(byHandle_.begin(), byHandle_.end(), [&](const auto* each) {
        return each != nullptr && each->idKey == idKey;
    });
    return static_cast<ExtensionHandle>(found - byHandle_.begin());
}

/// The catalog is read anew when it is next needed. The present one stays, because handles point
/// into it.
void Session::forgetCatalog() noexcept {
    catalogIsCurrent_ = false;
    tables_.clear();
    lastInstalled_ = nullptr;
}

std::vector<StoreLocation> Session::locations() const {
    if (user_)
        return {*user_, shared_};
    return {shared_};
}

void Session::leaveOutForeignStore() {
    if (!user_ || !isForeign(*user_))
        return;
    try {
        StoreFolder::open(*user_);
    } catch (const Error& error) {
        foreignStore_ = error;
        warnOnce(error);
        user_.reset();
    }
}

/// A list goes on without a store of another user, but not where there is no place for an own one.
void Session::prepareList() {
    leaveOutForeignStore();
    if (!foreignStore_)
        location(Scope::user);
}

const StoreLocation& Session::location(Scope scope) const {
    if (scope == Scope::shared)
        return shared_;
    if (foreignStore_)
        throw Error(*foreignStore_);
    if (!user_)
        fail(Status::noHome, "HOME", "not set");
    return *user_;
}

bool Session::mayChange(Scope scope) const {
    const std::string folder = location(scope).familyFolder();
    if (::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0)
        return true;
    // Any other failure is thrown: taken for a missing right, it would change the wrong store.
    if (errno != EACCES && errno != EPERM && errno != EROFS && errno != ENOENT)
        failErrno(errno, folder, "look at the rights");
    return false;
}

Store Session::store(Scope scope) {
    const auto other = scope == Scope::user ? std::optional(shared_) : user_;
    const ProductCatalog& products = allProducts();
    return {StoreFolder::create(location(scope)), other, products,
            [this](const Error& warning) { warnOnce(warning); }};
}

void Session::warn(const Error& warning) const {
    writeAll(STDERR_FILENO, explain(warning, language_) + "\n");
}

void Session::warnOnce(const Error& warning) {
    if (told_.insert(warning.what()).second)
        warn(warning);
}

ExtensionHandle Session::install(const std::string& path) {
    location(Scope::user);
    const TrustRules rules = readRules();
    const Package package = Package::open(path, rules.policy.limits);
    // The answer is prepared first: once the store has changed, nothing may fail.
    auto answer = std::make_unique<ExtensionCatalog>(
        ExtensionCatalog::ofOne(package.manifest(), Scope::user));
    InstalledExtension& installed = answer->only();
    installed.handle = handleFor(installed.idKey);
    byHandle_.reserve(byHandle_.size() + 1);
    installed_.reserve(installed_.size() + 1);

    installed.state = installInto(Scope::user, package, rules, {}).state;
    const auto index = static_cast<std::size_t>(installed.handle);
    if (index == byHandle_.size())
        byHandle_.push_back(nullptr);
    byHandle_[index] = &installed;
    installed_.push_back(std::move(answer));
    lastInstalled_ = &installed;
    return installed.handle;
}

void Session::installForAll(const std::string& path) {
    leaveOutForeignStore();
    install(path, Scope::shared);
}

ExtensionRow Session::install(const std::string& path, Scope scope) {
    const TrustRules rules = readRules();
    return installInto(scope, Package::open(path, rules.policy.limits), rules, {});
}

ExtensionRow Session::installInto(Scope scope, const Package& package, const TrustRules& rules,
                                  const InstallWish& wish) {
    const Manifest& manifest = package.manifest();
    requireAllowedExtension(rules.policy, manifest.idKey, package.path());
    requireFittingProduct(manifest, allProducts(), package.path());
    const VerifiedPackage verified = verifyPackage(package, rules);
    // In the user's list, the user's copy takes the place of the one for all users.
    if (const auto shared = scope == Scope::user ? rowIn(shared_, manifest.idKey) : std::nullopt)
        requireSameSigner(shared->signer, verified.signer, package.path());
    if (manifest.requiresAccount && wish.account == InstallWish::Account::toBeAsked)
        identity_.requireAccount(manifest.id, manifest.name);

    Store target = store(scope);
    ProgressLine line;
    forgetCatalog();
    const Progress progress = [&line](std::uint64_t done, std::uint64_t total) {
        line.show(done, total);
    };
    // Ctrl-C during the install would leave half an extension for the next change to delete.
    const DeferredTermination untilTidy;
    return target.install(
        package, {verified.signer, progress, verified.content, wish.olderVersion, wish.setAside});
}

std::optional<ExtensionRow> Session::rowIn(const StoreLocation& location,
                                           const std::string& idKey) {
    ExtensionTable* table = rowsOf(location);
    return table != nullptr ? table->find(idKey) : std::nullopt;
}

void Session::remove(ExtensionHandle handle) {
    const InstalledExtension& installed = extension(handle);
    if (installed.scope == Scope::shared)
        fail(Status::installedForAllUsers, std::string(installed.name));
    const std::string idKey(installed.idKey);
    const std::string name(installed.name);
    forgetCatalog();
    store(Scope::user).remove(idKey, name);
}

void Session::removeForAll(const std::string& nameOrId) {
    leaveOutForeignStore();
    // Only what is in the shared store counts, whatever the user's store holds.
    auto table = openTable(shared_);
    const ExtensionCatalog shared = ExtensionCatalog::load(
        {shared_}, [&](const StoreLocation&) { return table ? &*table : nullptr; });
    const InstalledExtension& installed = shared.byNameOrId(nameOrId);
    forgetCatalog();
    store(Scope::shared).remove(std::string(installed.idKey), std::string(installed.name));
}

void Session::setState(ExtensionHandle handle, ExtensionState state) {
    const InstalledExtension& installed = extension(handle);
    if (installed.scope == Scope::shared)
        return setStateOfShared(installed, state);
    forgetCatalog();
    store(Scope::user).setState(std::string(installed.idKey), std::string(installed.name), state);
}

/// A user who may change the shared store switches it for everybody, any other user for himself.
void Session::setStateOfShared(const InstalledExtension& installed, ExtensionState state) {
    const std::string idKey(installed.idKey);
    const std::string name(installed.name);
    const bool isMasked = installed.isMasked;
    const bool isForAll = mayChange(Scope::shared);
    const bool hasState = installed.stateForAll == state;
    forgetCatalog();
    if (state == ExtensionState::disabled ? isForAll : isForAll || !hasState)
        store(Scope::shared).setState(idKey, name, state);
    if (state == ExtensionState::disabled ? isForAll : !isMasked)
        return;
    const auto row = rowIn(shared_, idKey);
    if (!row)
        fail(Status::extensionNotFound, name);
    store(Scope::user).setMask(*row, state);
}

}  // namespace tavik
