// How a table is made to agree with the installed folders:
//
// 1. removeRowsWithoutFolder() drops each row whose folder is gone. It runs when the rows come from
//    an older version of the database, which may name folders that later changes replaced.
// 2. adoptFolders() goes through the folders that no row names. It reads id, name, version and
//    products from the manifest, and signer, time and user from the list of files.
// 3. A folder is left alone where its name does not fit its manifest's id, or a listed file is
//    missing, as after an install that died. Where the database is lost and no mark tells of such
//    an install, the extension is adopted without its file, which tavik verify then names. An
//    unreadable disk ends the rebuild instead.
// 4. Where the id has a row, the folder with the higher version wins, or the one that exists. The
//    state stays: a user's "disabled" must outlive a lost database.
// 5. A user's store has a mask for each extension that is switched off. The store of all users has
//    none, so takeStatesFromLinks() asks the links: an extension was enabled where it has one, and
//    disabled where a product that it fits has a folder of links without it. A product tells
//    nothing where its descriptor has changed since the links were made. Where no product tells
//    anything, the state of the version before stays; without one, the extension is enabled, and
//    the warning names it. An install that was interrupted before its link comes out disabled:
//    that is seen in the list, whereas something switched off that is back on is seen too late.
//
// The caller writes the table, so that a crash in between changes nothing.

#include "platform/core/store/Rebuild.h"

#include <unistd.h>

#include <algorithm>
#include <map>

#include "platform/core/disk/LinkFolder.h"
#include "platform/core/disk/SafeFolder.h"
#include "platform/core/package/Manifest.h"
#include "platform/core/package/PackageLimits.h"
#include "platform/core/products/Fit.h"
#include "platform/core/products/ProductCatalog.h"
#include "platform/core/status/Status.h"
#include "platform/core/store/ExtensionTable.h"
#include "platform/core/store/FileList.h"
#include "platform/core/store/FolderName.h"
#include "platform/core/store/LinkedProducts.h"

namespace tavik {
namespace {

using Names = std::unordered_set<std::string>;

Names setOf(std::vector<std::string> names) {
    return Names(std::make_move_iterator(names.begin()), std::make_move_iterator(names.end()));
}

Manifest manifestIn(int folder, const std::string& path) {
    const PackageLimits limits;
    const auto text = readSafeFile(folder, std::string(kManifestPath), limits.manifest.bytes,
                                   {path, Status::manifestInvalid});
    if (!text)
        fail(Status::manifestInvalid, path, "there is none");
    return parseManifest(*text, limits.manifest, throwOnFault(path));
}

ExtensionRow rowFrom(int content, const std::string& name, LostFiles lost) {
    const std::string path = "ext/" + name + "/" + std::string(kManifestPath);
    const FileDescriptor folder = openSafeFolder(content, name, "ext/" + name);
    if (!folder)
        fail(Status::storeDamaged, path, "it is gone");
    ExtensionRow row = rowOf(manifestIn(folder.get(), path), name);
    if (!isFolderNameOf(name, row.id))
        fail(Status::storeDamaged, path, "it is the manifest of " + row.id);
    if (const auto list = readFileList(content, name)) {
        if (lost == LostFiles::refused && !areFilesThere(*list, folder.get()))
            fail(Status::storeDamaged, path, "files are missing");
        row.signer = list->signer;
        row.installedAt = list->installedAt;
        row.installedBy = list->installedBy;
    }
    return row;
}

/// The folders of links that tell which extensions are enabled.
class Witnesses {
  public:
    Witnesses(const StoreFolder& store, const std::string& linkedProducts)
        : products_(ProductCatalog::load({store.location()})) {
        for (const auto& product : products_.products()) {
            const std::string folder = extensionsFolderOf(product, store.location());
            const std::string line = "\n" + linkedProductLine(product, store.location());
            const bool isAsLinked =
                linkedProducts.empty() || ("\n" + linkedProducts).find(line) != std::string::npos;
            if (isAsLinked && ::access(folder.c_str(), R_OK | X_OK) == 0)
                names_[product.name] = LinkFolder::namesAt(folder, Closed::isFailure);
        }
    }

    /// Nothing where none of them tells.
    std::optional<ExtensionState> stateOf(const ExtensionRow& row) const {
        std::optional<ExtensionState> state;
        for (const auto& wanted : row.products) {
            const auto names = names_.find(wanted.name);
            if (names == names_.end() || !fits(wanted, *products_.byName(wanted.name)))
                continue;
            if (std::binary_search(names->second.begin(), names->second.end(), row.id))
                return ExtensionState::enabled;
            state = ExtensionState::disabled;
        }
        return state;
    }

  private:
    ProductCatalog products_;
    std::map<std::string, std::vector<std::string>> names_;  ///< in the folders, by product
};

/// Whether the folder shall take the place of the one that the id's row names.
bool isBetter(const ExtensionRow& found, const ExtensionRow& known, const Names& present) {
    return present.count(known.folder) == 0 || known.version < found.version;
}

}  // namespace

void removeRowsWithoutFolder(ExtensionTable& table, const std::vector<std::string>& names) {
    const Names present = setOf(names);
    for (const auto& row : table.readAll())
        if (present.count(row.folder) == 0)
            table.remove(row.idKey);
}

std::size_t adoptFolders(ExtensionTable& table, int content, const std::vector<std::string>& names,
                         LostFiles lost) {
    std::size_t adopted = 0;
    const Names present = setOf(names);
    const Names named = setOf(table.readFolders());
    for (const auto& name : names) {
        if (!isFolderName(name) || named.count(name) != 0)
            continue;
        try {
            ExtensionRow row = rowFrom(content, name, lost);
            const auto known = table.find(row.idKey);
            if (known && !isBetter(row, *known, present))
                continue;
            if (known) {
                row.state = known->state;
                if (row.signer.empty())
                    row.signer = known->signer;
            }
            table.put(row);
            ++adopted;
        } catch (const Error& error) {
            // Passes over a folder that holds no valid extension. Any other failure, such as an
            // unreadable disk, ends the rebuild.
            const auto status = static_cast<Status>(error.status());
            if (status != Status::storeDamaged && status != Status::storeUnsafe &&
                status != Status::manifestInvalid && status != Status::packageUnsupported)
                throw;
        }
    }
    return adopted;
}

std::vector<std::string> takeStatesFromLinks(ExtensionTable& table, const StoreFolder& store,
                                             const std::unordered_set<std::string>& knownKeys) {
    const Witnesses witnesses(store, table.linkedProducts());
    std::vector<std::string> unknown;
    for (const auto& row : table.readAll())
        if (const auto state = witnesses.stateOf(row))
            table.setState(row.idKey, *state);
        else if (knownKeys.count(row.idKey) == 0)
            unknown.push_back(row.id);
    return unknown;
}

}  // namespace tavik
