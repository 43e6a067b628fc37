// Feeds arbitrary bytes to the reader of products' descriptors.

#include <cstdint>
#include <string_view>

#include "platform/core/products/ProductCatalog.h"
#include "platform/support/Json.h"
#include "platform/support/Text.h"
#include "tests/fuzz/Fuzz.h"

namespace tavik {
namespace {

/// A name is one component of a path, and no link leads out of the folder that was named.
void requireSound(const Product& product) {
    require(isProductName(product.name) && product.name != ".." && product.name.size() <= 63);
    require(isNameText(product.displayName) && product.displayName.size() <= 63);
    const std::string& folder = product.extensionsFolder;
    require(folder.empty() || folder.front() == '/' || folder.compare(0, 2, "~/") == 0);
    require((folder + "/").find("/../") == std::string::npos);
}

}  // namespace
}  // namespace tavik

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) try {
    tavik::requireSound(tavik::parseDescriptor({reinterpret_cast<const char*>(data), size}));
    return 0;
} catch (const tavik::JsonError&) {
    return 0;
}
