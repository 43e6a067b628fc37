#include "platform/core/products/ProductCatalog.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <tuple>

#include "platform/core/disk/Folders.h"
#include "platform/core/disk/StoreFolder.h"
#include "platform/core/package/Version.h"
#include "platform/core/status/Status.h"
#include "platform/support/Json.h"

namespace tavik {
namespace {

constexpr std::size_t kMaxDescriptorBytes = std::size_t{64} << 10;
constexpr std::size_t kMaxNameBytes = 63;
constexpr std::string_view kEnding = ".json";

/// A product's name becomes a folder's name.
bool isName(const std::string& name) {
    return !name.empty() && name.size() <= kMaxNameBytes && name.front() != '.' &&
           name.find('/') == std::string::npos && isPrintableText(name);
}

bool isDisplayName(const std::string& name) {
    return !name.empty() && name.size() <= kMaxNameBytes && isPrintableText(name);
}

Product parseDescriptor(const std::string& text) {
    const auto document = parseJson(text, {kMaxDescriptorBytes, 8});
    if (!document.IsObject())
        throw JsonError("$ is not an object");
    Product product;
    product.name = requiredText(document, "name", "$");
    product.displayName = requiredText(document, "displayName", "$");
    product.version = requiredText(document, "version", "$");
    product.extensionsFolder = optionalText(document, "extensionsFolder", "$").value_or("");
    product.updateFeed = optionalText(document, "updateFeed", "$").value_or("");
    if (!isName(product.name))
        throw JsonError("$.name is no name of 1 to 63 bytes");
    if (!isDisplayName(product.displayName))
        throw JsonError("$.displayName is no text of 1 to 63 bytes");
    if (!Version::parse(product.version))
        throw JsonError("$.version \"" + product.version + "\" is no version");
    if (!product.extensionsFolder.empty() && product.extensionsFolder.front() != '/')
        throw JsonError("$.extensionsFolder is not an absolute path");
    // One folder, one spelling: links are compared by it.
    if (!product.extensionsFolder.empty())
        product.extensionsFolder =
            std::filesystem::path(product.extensionsFolder + "/").lexically_normal().parent_path();
    if (!isPrintableText(product.extensionsFolder))
        throw JsonError("$.extensionsFolder is no printable text");
    return product;
}

Product readDescriptor(int folder, const std::string& name, const std::string& path) {
    const FileDescriptor file(
        ::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat info {};
    if (!file || ::fstat(file.get(), &info) != 0)
        failErrno(errno, path, "open the file");
    if (!S_ISREG(info.st_mode))
        fail(Status::productInvalid, path, "it is no regular file");
    try {
        Product product = parseDescriptor(readUpTo(file.get(), kMaxDescriptorBytes));
        if (product.name + std::string(kEnding) != name)
            throw JsonError("$.name \"" + product.name + "\" does not match the file's name");
        return product;
    } catch (const JsonError& error) {
        fail(Status::productInvalid, path, error.what());
    } catch (const std::system_error& error) {
        failErrno(error.code().value(), path, "read the file");
    }
}

/// A hidden file is an installer's or an editor's half-written one.
bool isDescriptorName(const std::string& name) {
    return name.front() != '.' && name.size() > kEnding.size() &&
           name.compare(name.size() - kEnding.size(), kEnding.size(), kEnding) == 0;
}

}  // namespace

ProductCatalog ProductCatalog::load(const std::vector<StoreLocation>& locations) {
    ProductCatalog catalog;
    for (const auto& location : locations) {
        const auto store = StoreFolder::open(location);
        const FileDescriptor folder =
            store ? store->existingSubfolder("products.d") : FileDescriptor();
        if (!folder)
            continue;
        for (const auto& name : namesIn(folder.get())) {
            if (!isDescriptorName(name))
                continue;
            const std::string path = store->path() + "/products.d/" + name;
            Product product = readDescriptor(folder.get(), name, path);
            product.scope = location.scope;
            if (catalog.byName(product.name) != nullptr)
                continue;
            // Commands name products by what is displayed.
            if (const Product* other = catalog.byDisplayName(product.displayName))
                fail(Status::productInvalid, path,
                     "\"" + product.displayName + "\" is also what " + other->name +
                         ".json displays");
            catalog.products_.push_back(std::move(product));
        }
    }
    std::sort(catalog.products_.begin(), catalog.products_.end(),
              [](const Product& a, const Product& b) {
                  return std::tie(a.displayName, a.name) < std::tie(b.displayName, b.name);
              });
    return catalog;
}

const Product* ProductCatalog::byName(const std::string& name) const noexcept {
    const auto found = std::find_if(products_.begin(), products_.end(),
                                    [&](const Product& each) { return each.name == name; });
    return found == products_.end() ? nullptr : &*found;
}

const Product* ProductCatalog::byDisplayName(const std::string& displayName) const noexcept {
    const auto found = std::find_if(products_.begin(), products_.end(), [&](const Product& each) {
        return each.displayName == displayName;
    });
    return found == products_.end() ? nullptr : &*found;
}

std::string extensionsFolderOf(const Product& product, const StoreLocation& store) {
    if (!product.extensionsFolder.empty())
        return product.extensionsFolder;
    return store.familyFolder() + "/products/" + product.name + "/extensions";
}

}  // namespace tavik
