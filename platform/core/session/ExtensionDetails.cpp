#include "platform/core/session/ExtensionDetails.h"

#include <filesystem>
#include <system_error>

#include "platform/core/disk/RegularFile.h"
#include "platform/core/package/Manifest.h"
#include "platform/core/status/Status.h"

namespace tavik {
namespace {

namespace fs = std::filesystem;

std::string readManifest(const InventoryEntry& entry) {
    const std::string path = entry.folder + "/" + std::string(kManifestPath);
    const RegularFile file = openRegularFile(path, FinalLink::refused);
    if (!file && file.error != 0)
        failErrno(file.error, path, "open the file");
    if (!file)
        fail(Status::storeDamaged, path, file.refusal);
    return readUpTo(file.descriptor.get(), JsonLimits().bytes);
}

void countFiles(const std::string& folder, ExtensionDetails& details) {
    for (const auto& item : fs::recursive_directory_iterator(folder)) {
        if (!item.is_regular_file())
            continue;
        ++details.files;
        details.bytes += static_cast<std::int64_t>(item.file_size());
    }
}

/// The paths of the entry's links that lead to its folder.
std::vector<std::string> linksOf(const InventoryEntry& entry, const ProductCatalog& products,
                                 const std::vector<StoreLocation>& locations) {
    std::vector<std::string> links;
    for (const auto& wanted : entry.row.products) {
        const Product* product = products.byName(wanted.name);
        if (product == nullptr)
            continue;
        for (const auto& location : locations) {
            const std::string link = extensionsFolderOf(*product, location) + "/" + entry.row.id;
            std::error_code fault;
            const bool leadsHere = fs::read_symlink(link, fault) == entry.folder;
            if (leadsHere && (links.empty() || links.back() != link))
                links.push_back(link);
        }
    }
    return links;
}

std::string feedOf(const InventoryEntry& entry, const ProductCatalog& products) {
    if (!entry.row.updateUrl.empty())
        return entry.row.updateUrl;
    for (const auto& wanted : entry.row.products) {
        const Product* product = products.byName(wanted.name);
        if (product != nullptr && !product->updateFeed.empty())
            return product->updateFeed;
    }
    return {};
}

}  // namespace

ExtensionDetails detailsOf(const InventoryEntry& entry, const ProductCatalog& products,
                           const std::vector<StoreLocation>& locations) {
    ExtensionDetails details;
    details.feed = feedOf(entry, products);
    try {
        details.links = linksOf(entry, products, locations);
        details.manifest = readManifest(entry);
        countFiles(entry.folder, details);
    } catch (const Error& error) {
        details.failure = error;
    } catch (const std::system_error& error) {
        details.failure.emplace(static_cast<int>(Status::inputOutput), entry.folder,
                                error.code().message());
    }
    return details;
}

}  // namespace tavik
