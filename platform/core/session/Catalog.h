#pragma once

#include <LibTavikCoreLib.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "platform/core/store/ExtensionTable.h"
#include "platform/core/store/StoreLocation.h"

namespace tavik {

/// One extension as the user sees it, and the store that it comes from.
struct InstalledExtension {
    ExtensionRow row;
    Scope scope = Scope::user;
    ExtensionHandle handle = -1;
};

/// All installed extensions of one moment: those of the user's store, and those of the shared store
/// whose id the user's store does not hold. Ordered by the bytes of their names.
class Catalog {
  public:
    /// Reads the stores; those that do not exist are empty. An earlier location wins.
    static Catalog load(const std::vector<StoreLocation>& locations);

    const std::vector<InstalledExtension>& extensions() const noexcept { return extensions_; }

    /// A search through all of them. Null where none has that key.
    const InstalledExtension* byKey(const std::string& idKey) const noexcept;

    /// The extension of that name, or else of that id. Throws Status::extensionNotFound, and
    /// Status::ambiguousName with the ids where several share the name.
    const InstalledExtension& byNameOrId(const std::string& name) const;

    /// The extensions that were made for the product (internal name), in order.
    const std::vector<const InstalledExtension*>& ofProduct(const std::string& product) const;

    /// Gives each extension its handle: the one under which `byHandle` knows its id already, or
    /// else the next free number; then makes `byHandle` point here, to null for what is gone.
    void assignHandles(std::vector<const InstalledExtension*>& byHandle);

    // The lists point into the extensions: moving keeps them valid, copying would not.
    Catalog(Catalog&&) = default;
    Catalog& operator=(Catalog&&) = default;

  private:
    Catalog() = default;

    void add(std::vector<ExtensionRow> rows, Scope scope);
    void arrange();

    std::vector<InstalledExtension> extensions_;
    std::unordered_map<std::string, std::vector<const InstalledExtension*>> byProduct_;
};

}  // namespace tavik
