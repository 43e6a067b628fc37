#pragma once

#include <LibTavikCoreLib.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/core/disk/StoreLocation.h"
#include "platform/core/package/Manifest.h"
#include "platform/core/store/ExtensionTable.h"
#include "platform/core/store/MaskKeeper.h"
#include "platform/support/Arena.h"

namespace tavik {

/// One extension as the user sees it, and the store that it comes from.
struct InstalledExtension : ListedExtension {
    Scope scope = Scope::user;
    ExtensionHandle handle = -1;
    /// Of the shared store, and switched off by this user for himself: `state` is disabled then,
    /// whatever it is for all users.
    bool isMasked = false;
    ExtensionState stateForAll = ExtensionState::enabled;  ///< as the row says
};

/// All installed extensions of one moment: those of the user's store, and those of the shared store
/// whose id the user's store does not hold.
class ExtensionCatalog {
  public:
    /// Gives the rows of a store, which must last while they are read; null where there is no
    /// store.
    using TableOpener = std::function<ExtensionTable*(const StoreLocation&)>;

    /// Reads the stores; those that do not exist are empty. An earlier location wins.
    static ExtensionCatalog load(const std::vector<StoreLocation>& locations,
                                 const TableOpener& open);

    /// The one extension that a package with this manifest is installed as.
    static ExtensionCatalog ofOne(const Manifest& manifest, Scope scope);

    /// Whether the masks that were read hide all that they are meant to hide; see areAllCovered.
    bool areMasksWhole() const noexcept { return areMasksWhole_; }

    /// The extension of a catalog of one.
    InstalledExtension& only() { return extensions_.front(); }

    /// A search through all of them. Null where none has that key.
    const InstalledExtension* byKey(std::string_view idKey) const noexcept;

    /// The extension of exactly that id, or else of that name, or of that id in other letter case.
    /// Throws Status::extensionNotFound, and
    /// Status::ambiguousName with the ids where several share the name.
    const InstalledExtension& byNameOrId(const std::string& name) const;

    /// The extensions that were made for the product (internal name), in the order of the bytes of
    /// their names.
    const std::vector<const InstalledExtension*>& ofProduct(const std::string& product) const;

    /// Gives each extension its handle: the one under which `byHandle` knows its id already, or
    /// else the next free number; then makes `byHandle` point here, to null for what is gone.
    void assignHandles(std::vector<const InstalledExtension*>& byHandle);

    // The lists point into the extensions: moving keeps them valid, copying would not.
    ExtensionCatalog(ExtensionCatalog&&) = default;
    ExtensionCatalog& operator=(ExtensionCatalog&&) = default;

  private:
    using Members = std::vector<const InstalledExtension*>;

    ExtensionCatalog() = default;

    void add(ExtensionTable& table, Scope scope);
    void mask(const Masks& masks);
    void arrange() const;

    Arena texts_;
    std::vector<InstalledExtension> extensions_;
    std::vector<ListedMembership> memberships_;
    /// Made when a product's list is first asked for: most changes never ask.
    mutable std::unordered_map<std::string_view, Members> byProduct_;
    mutable bool isArranged_ = false;
    bool areMasksWhole_ = true;
};

}  // namespace tavik
