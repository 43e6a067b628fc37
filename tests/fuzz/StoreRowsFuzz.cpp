// Puts arbitrary texts into the columns of a row of store.db, and reads the rows. The input's lines
// are the columns: a key, an id, name, version, store, update address, folder, signer, product,
// least and highest version.

#include <array>
#include <cstdint>
#include <string_view>

#include "platform/core/store/FolderName.h"
#include "platform/core/store/RowReader.h"
#include "platform/core/store/StoreSchema.h"
#include "platform/support/Error.h"
#include "tests/fuzz/Fuzz.h"

namespace tavik {
namespace {

constexpr int kRowTexts = 8;
constexpr int kProductTexts = 3;
using Columns = std::array<std::string_view, kRowTexts + kProductTexts>;

Columns linesOf(std::string_view text) {
    Columns columns;
    for (std::string_view& column : columns) {
        column = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), column.size() + 1));
    }
    return columns;
}

void put(const Database& database, const Columns& columns) {
    Statement extension(database,
                        "INSERT INTO extension VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, 1, 0, '',"
                        " -1, '')");
    for (int i = 0; i < kRowTexts; ++i)
        extension.bind(i + 1, columns.at(static_cast<std::size_t>(i)));
    extension.run();
    Statement product(database, "INSERT INTO extensionProduct VALUES (?1, 0, ?2, ?3, ?4)");
    product.bind(1, columns[0]);
    for (int i = 0; i < kProductTexts; ++i)
        product.bind(i + 2, columns.at(static_cast<std::size_t>(kRowTexts + i)));
    product.run();
}

/// A row that is taken is about one folder of one extension: that is what a removal deletes.
void read(const Database& database, const std::string& idKey) try {
    for (const ExtensionRow& row : readRows(database, sql::kSelectExtensions, idKey, "store.db")) {
        require(toIdKey(row.id) == row.idKey && isFolderNameOf(row.folder, row.id));
        require(row.folder.find('/') == std::string::npos && row.folder.front() != '.');
    }
} catch (const Error&) {
}

}  // namespace
}  // namespace tavik

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tavik;
    static Database database = [] {
        Database made = Database::inMemory();
        made.execute(sql::kCreateSchema);
        return made;
    }();
    const Columns columns = linesOf({reinterpret_cast<const char*>(data), size});
    database.execute("BEGIN");
    put(database, columns);
    read(database, "");
    read(database, std::string(columns[0]));
    database.execute("ROLLBACK");
    return 0;
}
