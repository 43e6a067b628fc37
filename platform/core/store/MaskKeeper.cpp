#include "platform/core/store/MaskKeeper.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/core/disk/LinkFolder.h"
#include "platform/core/disk/TrustedPath.h"
#include "platform/core/package/Manifest.h"
#include "platform/core/products/ProductCatalog.h"
#include "platform/core/status/Status.h"
#include "platform/core/store/ExtensionTable.h"

namespace tavik {
namespace {

std::string relativePathOf(const std::string& product) {
    return "products/" + product + "/disabled";
}

}  // namespace

bool isMaskedFor(const Masks& masks, const std::string& idKey, const std::string& product) {
    const auto mask = masks.find(idKey);
    return !isProductName(product) || (mask != masks.end() && mask->second.count(product) != 0);
}

bool isCovered(const Masks& masks, const ExtensionRow& shared) {
    return masks.count(shared.idKey) == 0 ||
           std::all_of(shared.products.begin(), shared.products.end(), [&](const auto& wanted) {
               return isMaskedFor(masks, shared.idKey, wanted.name);
           });
}

bool areAllCovered(const Masks& masks, ExtensionTable& shared) {
    return std::all_of(masks.begin(), masks.end(), [&](const auto& mask) {
        const auto row = shared.find(mask.first);
        return !row || isCovered(masks, *row);
    });
}

Masks MaskKeeper::read() const {
    Masks masks;
    for (const auto& product : products())
        for (const auto& id :
             LinkFolder::namesAt(store_.path() + "/" + relativePathOf(product), Closed::isFailure))
            masks[toIdKey(id)].insert(product);
    return masks;
}

void MaskKeeper::set(const std::string& id, const std::set<std::string>& products,
                     Settlement& settlement, const StoreLock&) {
    for (const auto& product : products) {
        if (!isProductName(product))
            continue;
        const Settlement::Step step(settlement, relativePathOf(product));
        const FileDescriptor folder = openTrustedFolder(store_.descriptor(), store_.path(),
                                                        relativePathOf(product), Missing::isMade);
        // Noted first: once the entry is there, no memory may be needed.
        const auto made = made_.insert(toIdKey(id));
        const FileDescriptor entry(::openat(
            folder.get(), id.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
        if (!entry) {
            const int error = errno;
            made_.erase(made);
            if (error == EEXIST)
                continue;
            failErrno(error, store_.path() + "/" + relativePathOf(product) + "/" + id,
                      "make the file");
        }
        isChanged_ = true;
    }
}

std::vector<MaskKeeper::Entry> MaskKeeper::entriesOf(const std::string& idKey) const {
    std::vector<Entry> entries;
    for (const auto& product : products())
        for (const auto& id :
             LinkFolder::namesAt(store_.path() + "/" + relativePathOf(product), Closed::isFailure))
            if (toIdKey(id) == idKey)
                entries.push_back({relativePathOf(product), id});
    return entries;
}

FileDescriptor MaskKeeper::folderOf(const Entry& entry) const {
    return openTrustedFolder(store_.descriptor(), store_.path(), entry.folder, Missing::isReported);
}

void MaskKeeper::requireClearable(const std::string& idKey) const {
    for (const auto& entry : entriesOf(idKey))
        // As the effective user, since that is who will remove the file.
        if (::faccessat(folderOf(entry).get(), ".", W_OK | X_OK, AT_EACCESS) != 0)
            failErrno(errno, store_.path() + "/" + entry.folder, "write to the folder");
}

void MaskKeeper::clear(const std::string& idKey, Settlement& settlement, const StoreLock&) {
    for (const auto& entry : entriesOf(idKey)) {
        const FileDescriptor folder = folderOf(entry);
        const Settlement::Step step(settlement, entry.folder);
        if (::unlinkat(folder.get(), entry.name.c_str(), 0) != 0 && errno != ENOENT)
            failErrno(errno, store_.path() + "/" + entry.folder + "/" + entry.name,
                      "remove the file");
        if (const auto made = made_.find(idKey); made != made_.end())
            made_.erase(made);
        isChanged_ = true;
    }
}

std::vector<std::string> MaskKeeper::products() const {
    return LinkFolder::namesAt(store_.path() + "/products", Closed::isFailure);
}

/// One call makes all entries durable, and the folders that were made for them.
bool MaskKeeper::synchronise() {
    if (!isChanged_)
        return false;
    if (::syncfs(store_.descriptor()) != 0)
        failErrno(errno, store_.path(), "synchronise the files");
    isChanged_ = false;
    return true;
}

}  // namespace tavik
