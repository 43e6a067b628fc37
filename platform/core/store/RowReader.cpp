#include "platform/core/store/RowReader.h"

#include "platform/core/package/Manifest.h"
#include "platform/core/status/Status.h"
#include "platform/core/store/FolderName.h"
#include "platform/core/store/StoreSchema.h"

namespace tavik {
namespace {

/// The statement for one extension, or for all of them where `idKey` is empty.
Statement select(const Database& database, std::string_view columns, const std::string& idKey,
                 std::string_view order) {
    std::string text(columns);
    if (!idKey.empty())
        text += sql::kOfOneExtension;
    text += order;
    Statement statement(database, text);
    if (!idKey.empty())
        statement.bind(1, idKey);
    return statement;
}

ExtensionRow rowOf(const Statement& select, const std::string& path) {
    requireSoundRow(select.text(0), select.text(1), select.text(6), path);
    ExtensionRow row;
    row.idKey = select.text(0);
    row.id = select.text(1);
    row.name = select.text(2);
    row.version = Version::parse(select.text(3)).value_or(Version());
    row.storeName = select.text(4);
    row.updateUrl = select.text(5);
    row.folder = select.text(6);
    row.signer = select.text(7);
    row.state = select.number(8) != 0 ? ExtensionState::enabled : ExtensionState::disabled;
    row.requiresAccount = select.number(9) != 0;
    row.installedAt = select.text(10);
    row.installedBy = {select.number(11), std::string(select.text(12))};
    return row;
}

}  // namespace

void requireSoundRow(std::string_view idKey, std::string_view id, std::string_view folder,
                     const std::string& path) {
    if (!isExtensionId(id) || toIdKey(id) != idKey || !isFolderNameOf(folder, id))
        fail(Status::storeDamaged, path, "a row that is none of an extension");
}

std::vector<ExtensionRow> readRows(const Database& database, std::string_view columns,
                                   const std::string& idKey, const std::string& path) {
    std::vector<ExtensionRow> rows;
    Statement extensions = select(database, columns, idKey, sql::kByKey);
    while (extensions.step())
        rows.push_back(rowOf(extensions, path));

    // Both come in the order of idKey, so one walk joins them.
    Statement products = select(database, sql::kSelectProducts, idKey, sql::kByKeyAndPosition);
    auto row = rows.begin();
    while (products.step()) {
        while (row != rows.end() && row->idKey != products.text(0))
            ++row;
        if (row == rows.end())
            fail(Status::storeDamaged, path, "a product without its extension");
        row->products.push_back({std::string(products.text(1)), Version::parse(products.text(2)),
                                 Version::parse(products.text(3))});
    }
    return rows;
}

}  // namespace tavik
