#include "platform/core/session/Verification.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "platform/core/disk/Folders.h"
#include "platform/core/disk/StoreFolder.h"

namespace tavik {
namespace {

namespace fs = std::filesystem;
using Kind = StoreProblem::Kind;

/// Where the link at the path leads; empty where there is none.
std::string targetOf(const std::string& path) {
    std::error_code fault;
    return fs::read_symlink(path, fault).string();
}

class Verification {
  public:
    Verification(const Inventory& inventory, const ProductCatalog& products)
        : inventory_(inventory), products_(products) {}

    void checkEntry(const InventoryEntry& entry, const StoreLocation& location) {
        struct stat info {};
        if (::lstat(entry.folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
            problems_.push_back({entry.row.id, entry.folder, Kind::noFolder});
        for (const ProductFit& fit : entry.products)
            if (const Product* product = products_.byName(fit.name))
                checkLink(entry, fit, extensionsFolderOf(*product, location));
    }

    void checkFolders(const StoreLocation& location) {
        const auto store = StoreFolder::open(location);
        const FileDescriptor content = store ? store->existingSubfolder("ext") : FileDescriptor();
        if (!content)
            return;
        std::set<std::string> known;
        for (const InventoryEntry& entry : inventory_.entries())
            if (entry.scope == location.scope)
                known.insert(entry.row.folder);
        auto names = namesIn(content.get());
        std::sort(names.begin(), names.end());
        for (const std::string& name : names)
            if (known.count(name) == 0)
                problems_.push_back({"", store->path() + "/ext/" + name, Kind::noRow});
    }

    std::vector<StoreProblem> take() { return std::move(problems_); }

  private:
    void checkLink(const InventoryEntry& entry, const ProductFit& fit, const std::string& folder) {
        const std::string path = folder + "/" + entry.row.id;
        const std::string target = targetOf(path);
        const bool isWanted = entry.row.state == ExtensionState::enabled && fit.fits;
        if (isWanted && target.empty())
            problems_.push_back({entry.row.id, path, Kind::noLink});
        else if (isWanted ? target != entry.folder && !leadsToOwnCopy(entry, target)
                          : target == entry.folder)
            problems_.push_back({entry.row.id, path, Kind::wrongLink});
    }

    /// Where both stores have their links in one folder, the user's own copy has the place.
    bool leadsToOwnCopy(const InventoryEntry& entry, const std::string& target) const {
        const InventoryEntry* own = inventory_.find(Scope::user, entry.row.idKey);
        return entry.scope == Scope::shared && own != nullptr && target == own->folder;
    }

    const Inventory& inventory_;
    const ProductCatalog& products_;
    std::vector<StoreProblem> problems_;
};

}  // namespace

std::vector<StoreProblem> findProblems(const Inventory& inventory, const ProductCatalog& products,
                                       const std::vector<StoreLocation>& locations) {
    Verification verification(inventory, products);
    for (const StoreLocation& location : locations) {
        for (const InventoryEntry& entry : inventory.entries())
            if (entry.scope == location.scope)
                verification.checkEntry(entry, location);
        verification.checkFolders(location);
    }
    return verification.take();
}

}  // namespace tavik
