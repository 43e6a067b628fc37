#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/disk/StoreFolder.h"
#include "platform/core/disk/StoreLock.h"
#include "platform/core/package/ProductRequirement.h"
#include "platform/core/store/TextArena.h"
#include "platform/support/Sqlite.h"

namespace tavik {

/// The numbers are the interface's and the database's.
enum class ExtensionState { disabled = 0, enabled = 1 };

/// What the store knows of one installed extension.
struct ExtensionRow {
    std::string id;
    std::string idKey;  ///< the id in lower case: two ids that differ in case only are one
    std::string name;
    std::string version;
    std::string storeName;
    std::string updateUrl;
    std::string folder;  ///< below ext/, e.g. "com.example.a@5f0c..."
    std::string signer;  ///< fingerprint of the key that signed the package; empty: unsigned
    ExtensionState state = ExtensionState::enabled;
    bool requiresAccount = false;
    std::vector<ProductRequirement> products;  ///< in the manifest's order
};

/// What lists show of an extension. The texts live in the arena that they were read into.
struct ListedExtension {
    std::string_view id;
    std::string_view idKey;
    std::string_view name;
    std::string_view version;
    std::string_view storeName;
    ExtensionState state = ExtensionState::enabled;
};

/// That a listed extension was made for a product.
struct ListedMembership {
    std::size_t extension;     ///< position in the list
    std::string_view product;  ///< internal name
};

/// The extensions of one store, and what each was made for.
struct ExtensionList {
    std::vector<ListedExtension> extensions;
    std::vector<ListedMembership> memberships;
};

/// The store's database, `store.db` in its family folder: one row for each installed extension.
/// Failures of SQLite come out as Error with a status of the core.
class ExtensionTable {
  public:
    /// For lists: reads only, creates nothing. Nothing where there is no database yet.
    static std::optional<ExtensionTable> openForReading(const StoreFolder& folder);

    /// For changes: creates the database where it is missing.
    static ExtensionTable openForWriting(const StoreFolder& folder, const StoreLock&);

    /// All of one moment, in the order of their keys: whole, or as far as lists need it, which
    /// takes a fraction of the time.
    std::vector<ExtensionRow> readAll();
    ExtensionList readList(TextArena& texts);

    /// The names below ext/ that belong to a row.
    std::vector<std::string> readFolders();

    std::optional<ExtensionRow> find(const std::string& idKey);

    /// Makes sure that the log holds nothing undecided. A commit that failed in its last step may
    /// stand in the log whole; whoever opens the database next without company would find it there
    /// and take it for committed. A new commit either follows it or takes its place, and so what
    /// the rows say after this is what they will say later.
    void settle();

    /// The products that the links were last made for; see LinkKeeper.
    std::string linkedProducts();
    void setLinkedProducts(const std::string& text);

    /// Each of these is one transaction; on return it is durable.
    void put(const ExtensionRow& row);
    void remove(const std::string& idKey);
    void setState(const std::string& idKey, ExtensionState state);

  private:
    ExtensionTable(std::string path, int flags);

    void checkIdentity();
    std::vector<ExtensionRow> read(const std::string& idKey);

    template <class Work>
    auto guarded(Work work);

    std::string path_;
    Database database_;
};

}  // namespace tavik
