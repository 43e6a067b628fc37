#include "platform/core/session/Verification.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <set>

#include "platform/core/disk/Folders.h"
#include "platform/core/disk/StoreFolder.h"
#include "platform/core/status/Status.h"
#include "platform/core/store/FileComparison.h"
#include "platform/core/store/FolderName.h"

namespace tavik {
namespace {

namespace fs = std::filesystem;
using Kind = StoreProblem::Kind;

/// The target of the link at the path; empty where there is no link.
std::string targetOf(const std::string& path) {
    std::error_code fault;
    const fs::path target = fs::read_symlink(path, fault);
    const bool isNoLink = fault.value() == ENOENT || fault.value() == ENOTDIR ||
                          fault.value() == EINVAL;  // the last: something else has the name
    if (fault && !isNoLink)
        failErrno(fault.value(), path, "read the link");
    return target.string();
}

/// Whether there is a folder at the path; links are not followed.
bool isFolder(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) == 0)
        return S_ISDIR(info.st_mode);
    if (errno != ENOENT && errno != ENOTDIR)
        failErrno(errno, path, "look at the folder");
    return false;
}

/// How the file differs from what was recorded; nothing where it does not.
std::optional<Kind> problemOf(int folder, const InstalledFile& recorded) {
    switch (differenceOf(folder, recorded)) {
        case FileDifference::missing:
            return Kind::missing;
        case FileDifference::content:
            return Kind::changed;
        case FileDifference::rights:
            return Kind::rights;
        case FileDifference::none:
            break;
    }
    return std::nullopt;
}

class Verification {
  public:
    Verification(const Inventory& inventory, const ProductCatalog& products)
        : inventory_(inventory), products_(products) {}

    void checkDatabases() {
        for (const Error& trouble : inventory_.troubles())
            findings_.problems.push_back({"", trouble.subject(), Kind::database});
    }

    void checkStore(const StoreLocation& location) {
        for (const InventoryEntry& entry : inventory_.entries())
            if (entry.scope == location.scope)
                attempt(entry.row.id, [&] { checkEntry(entry, location); });
        attempt("", [&] { checkFolders(location); });
    }

    StoreFindings take() { return std::move(findings_); }

  private:
    /// What cannot be read does not keep the rest from being checked.
    template <class Check>
    void attempt(const std::string& id, Check check) {
        try {
            check();
        } catch (const Error& error) {
            findings_.failures.push_back({id, error});
        }
    }

    void checkEntry(const InventoryEntry& entry, const StoreLocation& location) {
        if (!isFolder(entry.folder))
            findings_.problems.push_back({entry.row.id, entry.folder, Kind::noFolder});
        else
            checkFiles(entry, location);
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
                known.insert({entry.row.folder, fileListOf(entry.row.folder)});
        auto names = namesIn(content.get());
        std::sort(names.begin(), names.end());
        for (const std::string& name : names)
            if (known.count(name) == 0)
                findings_.problems.push_back({"", store->path() + "/ext/" + name, Kind::noRow});
    }

    /// What an earlier version installed has no list, so nothing is known of its files.
    void checkFiles(const InventoryEntry& entry, const StoreLocation& location) {
        const auto store = StoreFolder::open(location);
        const FileDescriptor content = store ? store->existingSubfolder("ext") : FileDescriptor();
        const auto list = content ? readFileList(content.get(), entry.row.folder) : std::nullopt;
        if (!list) {
            findings_.problems.push_back({entry.row.id, entry.folder, Kind::noList});
            return;
        }
        const FileDescriptor folder(::openat(content.get(), entry.row.folder.c_str(),
                                             O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!folder)
            failErrno(errno, entry.folder, "open the folder");
        std::set<std::string> listed;
        for (const InstalledFile& file : list->files) {
            listed.insert(file.path);
            if (const auto kind = problemOf(folder.get(), file))
                findings_.problems.push_back({entry.row.id, entry.folder + "/" + file.path, *kind});
        }
        for (const std::string& path : filesIn(folder.get()))
            if (listed.count(path) == 0)
                findings_.problems.push_back(
                    {entry.row.id, entry.folder + "/" + path, Kind::extra});
    }

    void checkLink(const InventoryEntry& entry, const ProductFit& fit, const std::string& folder) {
        const std::string path = folder + "/" + entry.row.id;
        const std::string target = targetOf(path);
        const bool isWanted = entry.row.state == ExtensionState::enabled && fit.fits;
        if (isWanted && target.empty())
            findings_.problems.push_back({entry.row.id, path, Kind::noLink});
        else if (isWanted ? target != entry.folder && !leadsToOwnCopy(entry, target)
                          : target == entry.folder)
            findings_.problems.push_back({entry.row.id, path, Kind::wrongLink});
    }

    /// Where both stores keep their links in one folder, the link leads to the user's own copy.
    bool leadsToOwnCopy(const InventoryEntry& entry, const std::string& target) const {
        const InventoryEntry* own = inventory_.find(Scope::user, entry.row.idKey);
        return entry.scope == Scope::shared && own != nullptr && target == own->folder;
    }

    const Inventory& inventory_;
    const ProductCatalog& products_;
    StoreFindings findings_;
};

}  // namespace

StoreFindings findProblems(const Inventory& inventory, const ProductCatalog& products,
                           const std::vector<StoreLocation>& locations) {
    Verification verification(inventory, products);
    verification.checkDatabases();
    for (const StoreLocation& location : locations)
        verification.checkStore(location);
    return verification.take();
}

}  // namespace tavik
