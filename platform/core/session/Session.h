#pragma once

#include <LibTavikCoreLib.h>

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/identity/IdentityService.h"
#include "platform/core/products/ProductCatalog.h"
#include "platform/core/session/ExtensionCatalog.h"
#include "platform/core/session/ExtensionDetails.h"
#include "platform/core/session/Inventory.h"
#include "platform/core/session/PackageSource.h"
#include "platform/core/status/Texts.h"
#include "platform/core/store/Store.h"
#include "platform/core/trust/Signer.h"
#include "platform/core/updates/BackgroundCheck.h"
#include "platform/core/updates/Mirror.h"

namespace tavik {

/// A line of a store's history, and which store that is.
struct StoreHistoryLine {
    HistoryLine line;
    Scope scope;
};

/// A feed, and when it last worked.
struct FeedInUse {
    std::string namedBy;  ///< a product's name or an extension's id
    std::string address;  ///< as it is named
    std::string goodOn;   ///< see CachedFeed; empty: never, as far as this user knows
};

/// The state between TavikInit and TavikTerminate: where the stores are, what has been read of
/// them, and which handle names which extension. Everything is read when it is first needed, and
/// kept until this session changes a store. Failures are Errors with a Status.
class Session {
  public:
    /// `family`: the stores' folder, one path component.
    Session(const std::string& locale, const std::string& family);

    Language language() const noexcept { return language_; }

    /// The host products, for lists. Throws Status::noHome where the user's store has no place.
    const ProductCatalog& products();

    /// The same, and the failure of a store that cannot be read: it shows before the first list.
    const ProductCatalog& listedProducts();

    /// The extensions made for the product; Status::productNotFound where there is none.
    const std::vector<const InstalledExtension*>& extensionsOf(const std::string& displayName);

    /// By name or id; see ExtensionCatalog.
    const InstalledExtension& extension(const std::string& nameOrId);

    /// Throws Status::unknownHandle. Valid until the next change.
    const InstalledExtension& extension(ExtensionHandle handle);

    ExtensionHandle install(const std::string& path);
    void installForAll(const std::string& path);
    void remove(ExtensionHandle handle);
    void removeForAll(const std::string& nameOrId);

    /// Switches a user's own extension, and with it the shared one of its id, for this user. One of
    /// the shared store is switched for all users where the current user may change that store,
    /// otherwise for the current user alone.
    void setState(ExtensionHandle handle, ExtensionState state);

    /// Starts a check for updates of what is installed now, and ends one that is running. Its
    /// failures are thrown by the calls that ask for its results.
    void startUpdateCheck();

    /// Waits for the end of the check. A result that could not be saved for the next check is a
    /// warning.
    void waitForUpdateCheck();

    /// The result of the check that was started, or else of one that is started now; waits for its
    /// end. Throws where the check could not be made.
    const UpdateCheck& updateCheck();

    /// Throws Status::noUpdate where there is none, and the failure that kept it from being found.
    const Offer& updateOf(ExtensionHandle handle);

    /// Downloads and installs the extension's update.
    void update(ExtensionHandle handle);

    /// The offers of all feeds that products and installed extensions name.
    struct Search {
        std::vector<Offer> offers;    ///< see UpdateCheck::offers
        std::vector<Error> failures;  ///< of feeds whose offers are missing
    };
    Search searchOffers();

    // For programs that show or change one store at a time. Each call names its store; what the
    // other store holds makes no difference.

    /// For lists, and for commands that are about the store for all users alone: from here on, a
    /// user's store that is not the current user's is left out, with a warning. Root has one with a
    /// user's HOME.
    void leaveOutForeignStore();

    /// The stores that this user works with, the own one first.
    std::vector<StoreLocation> locations() const;

    /// Reads the policy and the keys.
    TrustRules readRules() const;

    /// What a look at a store does with a change that was interrupted in it.
    enum class Interrupted { isFinished, stays };

    /// Sets this for all later lists. By default they finish an interrupted change if that works at
    /// once.
    void setInterrupted(Interrupted wanted) noexcept { interrupted_ = wanted; }

    /// Reads both stores whole.
    Inventory inventory();

    /// What the disk holds of it.
    ExtensionDetails details(const InventoryEntry& entry);

    /// Where a host application finds this user's extensions of the product.
    std::string extensionsFolder(const Product& product) const;

    ExtensionRow install(const std::string& path, Scope scope);
    /// Without a place, the extension comes from the feeds of the installed products, the newest
    /// version that fits unless one is named, and all checks of an update are made. Throws Error:
    /// packageNotWanted where the package is not what `source` says that it must be, notOffered, or
    /// the failure of a feed that kept it from being found.
    ExtensionRow install(const PackageSource& source, Scope scope);
    /// The version that such an install would bring.
    std::string versionOf(const PackageSource& source, Scope scope);
    void remove(const InventoryEntry& entry);
    void setState(const InventoryEntry& entry, ExtensionState state);
    /// Switches an extension of the shared store off for this user alone, or takes that back.
    void setMask(const InventoryEntry& entry, ExtensionState state);

    /// The entry's update; null where there is none, and for an entry that another one covers.
    /// Throws the failure that kept it from being found. Valid until the next check.
    const Offer* findUpdate(const InventoryEntry& entry);
    void update(const InventoryEntry& entry);

    /// Offers of the very versions that are installed, in the feeds that have their updates.
    struct SameVersions {
        TrustRules rules;
        std::unique_ptr<UpdateCheck> check;
    };
    /// Looks for those of the entries, which are all of one store.
    SameVersions findSameVersions(const std::vector<InventoryEntry>& entries);
    /// Installs such an offer, with all checks of an update. `setAside` is told where those files
    /// of the extension are kept that are not in the package.
    void reinstall(const InventoryEntry& entry, const SameVersions& found,
                   const SetAsideSink& setAside);

    /// The changes of both stores, the oldest first.
    std::vector<StoreHistoryLine> history();

    /// All feeds that products and installed extensions name.
    struct Feeds {
        std::vector<FeedInUse> feeds;
        std::optional<Error> failure;  ///< why it is not known when they were good
    };
    Feeds feeds();

    /// See Store::repair.
    void repair(Scope scope);

    /// Copies feeds whose signatures this machine accepts into a folder.
    MirrorReport mirror(const std::vector<std::string>& addresses, const std::string& folder);

    IdentityService& identity() noexcept { return identity_; }

  private:
    void prepareList();
    const ExtensionCatalog& catalog();
    void forgetCatalog() noexcept;
    const ProductCatalog& readProducts();
    /// For lists: warns where those of the shared store are not known.
    const ProductCatalog& reachableProducts();
    /// For changes: throws there, see ProductCatalog::failure().
    const ProductCatalog& allProducts();
    const StoreLocation& location(Scope scope) const;
    /// How a package is installed that has passed the checks of its source.
    struct InstallWish {
        enum class Account { toBeAsked, asked } account = Account::toBeAsked;
        InstallDetails::OlderVersion olderVersion = InstallDetails::OlderVersion::refused;
        SetAsideSink setAside{};
    };
    ExtensionRow installInto(Scope scope, const Package& package, const TrustRules& rules,
                             const InstallWish& wish);
    std::optional<ExtensionTable> openTable(const StoreLocation& location);
    std::optional<ExtensionTable> openOrLeaveOut(const StoreLocation& location);
    ExtensionTable* rowsOf(const StoreLocation& location);
    bool finishInterrupted(const StoreLocation& location);
    void finishBeforeLook(const StoreLocation& location) noexcept;
    Inventory readInventory();
    ExtensionHandle handleFor(std::string_view idKey) const;
    std::optional<ExtensionRow> rowIn(const StoreLocation& location, const std::string& idKey);
    Offer offered(const std::string& id, const std::optional<Version>& wanted,
                  const TrustRules& rules);
    Offer wantedOffer(const PackageSource& source, const TrustRules& rules);
    Package openOffered(const PackageSource& source, Scope scope, const TrustRules& rules);
    Package openSource(const PackageSource& source, Scope scope, const TrustRules& rules);
    Package downloadOffer(const Offer& offer, Scope scope, const TrustRules& rules);
    Store store(Scope scope);
    void setStateOfShared(const InstalledExtension& installed, ExtensionState state);
    void warn(const Error& warning) const;
    void warnOnce(const Error& warning);
    std::string cacheFile() const;
    UpdateCheckInput updateCheckInput(const TrustRules& rules);
    std::unique_ptr<UpdateCheck> askFeeds(AskedFeeds asked, const TrustRules& rules);
    std::unique_ptr<UpdateCheck> runCheck(UpdateCheckInput input) const;

    Language language_;
    Interrupted interrupted_ = Interrupted::isFinished;
    std::optional<StoreLocation> user_;
    std::optional<Error> foreignStore_;  ///< why the user's store was left out
    StoreLocation shared_;
    std::optional<ProductCatalog> products_;
    std::map<Scope, std::optional<ExtensionTable>> tables_;  ///< as the catalog was read from them
    std::optional<ExtensionCatalog> catalog_;
    bool catalogIsCurrent_ = false;
    std::vector<const InstalledExtension*> byHandle_;
    std::vector<std::unique_ptr<ExtensionCatalog>> installed_;  ///< since the catalog was read
    const InstalledExtension* lastInstalled_ = nullptr;         ///< until the next change
    std::set<std::string> told_;                                ///< what was warned of already
    IdentityService identity_;
    std::unique_ptr<BackgroundCheck> updateCheck_;
    std::optional<TrustRules> updateRules_;  ///< what the check judges by
    std::optional<Error> updateCheckFailure_;
};

}  // namespace tavik
