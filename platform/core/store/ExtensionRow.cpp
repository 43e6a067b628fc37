#include "platform/core/store/ExtensionRow.h"

namespace tavik {

ExtensionRow rowOf(const Manifest& manifest, std::string folder) {
    ExtensionRow row;
    row.id = manifest.id;
    row.idKey = manifest.idKey;
    row.name = manifest.name;
    row.version = manifest.version;
    row.storeName = manifest.storeName;
    row.updateUrl = manifest.updateUrl;
    row.folder = std::move(folder);
    row.requiresAccount = manifest.requiresAccount;
    row.products = manifest.products;
    return row;
}

}  // namespace tavik
