#include "platform/core/products/ProductCatalog.h"

#include <algorithm>
#include <filesystem>
#include <tuple>

#include "platform/core/disk/Folders.h"
#include "platform/core/disk/SafeFolder.h"
#include "platform/core/status/Status.h"
#include "platform/support/Environment.h"
#include "platform/support/JsonObject.h"
#include "platform/support/Text.h"

namespace tavik {
namespace {

constexpr std::size_t kMaxDescriptorBytes = std::size_t{64} << 10;
constexpr std::size_t kMaxNameBytes = 63;
constexpr std::string_view kEnding = ".json";
constexpr std::string_view kHome = "~/";

bool isDisplayName(const std::string& name) {
    return name.size() <= kMaxNameBytes && isNameText(name);
}

bool beginsWithHome(const std::string& path) noexcept {
    return path.compare(0, kHome.size(), kHome) == 0;
}

/// The folder in one spelling, because links are compared by it. Empty if there is none.
std::string checkedFolder(const JsonObject& descriptor) {
    constexpr std::string_view kMember = "extensionsFolder";
    const std::string text = descriptor.text(kMember).value_or("");
    if (text.empty())
        return {};
    const bool isInHome = beginsWithHome(text);
    if (!isInHome && text.front() != '/')
        descriptor.complain(kMember, "is neither an absolute path nor one below ~/");
    if (!isPrintableText(text))
        descriptor.complain(kMember, "is no printable text");
    std::string folder = std::filesystem::path(text + "/").lexically_normal().parent_path();
    if (isInHome && !beginsWithHome(folder))
        descriptor.complain(kMember, "leads out of the home folder");
    return folder;
}

/// Nothing where the file is gone meanwhile.
std::optional<Product> readDescriptor(int folder, const std::string& name,
                                      const std::string& path) {
    const auto text =
        readSafeFile(folder, name, kMaxDescriptorBytes, {path, Status::productInvalid});
    if (!text)
        return std::nullopt;
    try {
        Product product = parseDescriptor(*text);
        if (product.name + std::string(kEnding) != name)
            throw JsonError("$.name " + quoteName(product.name) +
                            " does not match the file's name");
        return product;
    } catch (const JsonError& error) {
        fail(Status::productInvalid, path, error.what());
    }
}

/// Whether the file itself is at fault. Any other failure is the machine's, and going on without
/// the product would remove its links.
bool isFaultOfTheFile(const Error& error) noexcept {
    for (const Status status : {Status::productInvalid, Status::storeUnsafe, Status::noPermission})
        if (error.status() == static_cast<int>(status))
            return true;
    return false;
}

}  // namespace

Product parseDescriptor(std::string_view json) {
    const auto document = parseJson(json, {kMaxDescriptorBytes, 8});
    const JsonObject object(document, "$");
    Product product;
    product.name = object.neededText("name");
    product.displayName = object.neededText("displayName");
    const std::string versionText = object.neededText("version");
    product.extensionsFolder = checkedFolder(object);
    product.updateFeed = object.text("updateFeed").value_or("");
    if (!isProductName(product.name))
        object.complain("name", "is no name of 1 to 63 bytes");
    if (!isDisplayName(product.displayName))
        object.complain("displayName", "is no text of 1 to 63 bytes that can be shown");
    auto version = Version::parse(versionText);
    if (!version)
        object.complain("version", quoteName(versionText) + " is no version");
    product.version = *std::move(version);
    return product;
}

ProductCatalog ProductCatalog::load(const std::vector<StoreLocation>& locations) {
    ProductCatalog catalog;
    for (const auto& location : locations) {
        try {
            if (const auto store = StoreFolder::open(location))
                catalog.read(*store);
        } catch (const Error& error) {
            if (location.scope != Scope::shared || locations.size() == 1 || !isUnusableStore(error))
                throw;
            catalog.failure_ = error;
        }
    }
    catalog.sort();
    return catalog;
}

void ProductCatalog::sort() {
    std::sort(products_.begin(), products_.end(), [](const Product& a, const Product& b) {
        return std::tie(a.displayName, a.name) < std::tie(b.displayName, b.name);
    });
    for (std::size_t i = 0; i < products_.size(); ++i)
        index(i);
}

void ProductCatalog::index(std::size_t position) {
    byName_[products_[position].name] = position;
    byDisplayName_[products_[position].displayName] = position;
}

void ProductCatalog::read(const StoreFolder& store) {
    const FileDescriptor folder = store.existingSubfolder("products.d");
    if (!folder)
        return;
    // In their order, so that of two that clash the same one always counts.
    for (const auto& name : visibleNamesIn(folder.get(), kEnding))
        add(store, folder.get(), name);
}

void ProductCatalog::add(const StoreFolder& store, int folder, const std::string& fileName) {
    const std::string path = store.path() + "/products.d/" + fileName;
    try {
        auto product = readDescriptor(folder, fileName, path);
        if (!product || byName(product->name) != nullptr)
            return;
        // Commands name products by what is displayed.
        if (const Product* other = byDisplayName(product->displayName))
            fail(Status::productInvalid, path,
                 "\"" + product->displayName + "\" is also what " + other->name + ".json displays");
        product->scope = store.location().scope;
        products_.push_back(std::move(*product));
        index(products_.size() - 1);
    } catch (const Error& error) {
        if (!isFaultOfTheFile(error))
            throw;
        leftOut_.push_back(error);
    }
}

const Product* ProductCatalog::byName(const std::string& name) const {
    const auto found = byName_.find(name);
    return found == byName_.end() ? nullptr : &products_[found->second];
}

const Product* ProductCatalog::byDisplayName(const std::string& displayName) const {
    const auto found = byDisplayName_.find(displayName);
    return found == byDisplayName_.end() ? nullptr : &products_[found->second];
}

bool isProductName(const std::string& name) noexcept {
    return isDisplayName(name) && name.front() != '.' && name.find('/') == std::string::npos;
}

std::string extensionsFolderOf(const Product& product, const StoreLocation& store) {
    if (isCommonFolder(product))
        return product.extensionsFolder;
    if (product.extensionsFolder.empty() || store.scope == Scope::shared)
        return store.familyFolder() + "/products/" + product.name + "/extensions";
    const auto home = environmentVariable("HOME");
    if (!home || home->front() != '/')
        fail(Status::noHome, "HOME",
             "not an absolute path, and " + product.name + ".json needs it");
    return std::filesystem::path(*home + product.extensionsFolder.substr(1)).lexically_normal();
}

bool isCommonFolder(const Product& product) noexcept {
    return !product.extensionsFolder.empty() && product.extensionsFolder.front() == '/';
}

}  // namespace tavik
