#include "platform/vell/Content.h"

#include "platform/vell/InstallerDatabase.h"

namespace tavik::vell {
namespace {

constexpr const char* kDataSets =
    "SELECT data_set.id, data_set.kind = 'pcd', data_set.domain, data_set.name, data.key, "
    "data.value FROM data_set LEFT JOIN data ON data.data_set = data_set.id "
    "ORDER BY data_set.id, data.place";
constexpr const char* kPayloads = "SELECT code, kind, state FROM payload ORDER BY id";
constexpr const char* kLists =
    "SELECT list.id, list.kind = 'collection', list.name, entry.payload FROM payload_list AS list "
    "LEFT JOIN payload_list_entry AS entry ON entry.payload_list = list.id "
    "ORDER BY list.id, entry.place";

constexpr const char* kClear =
    "DELETE FROM data; DELETE FROM data_set; DELETE FROM payload_list_entry; "
    "DELETE FROM payload_list; DELETE FROM payload";
constexpr const char* kAddPayload = "INSERT INTO payload (code, kind, state) VALUES (?, ?, ?)";
constexpr const char* kAddList = "INSERT INTO payload_list (kind, name) VALUES (?, ?)";
constexpr const char* kAddEntry =
    "INSERT INTO payload_list_entry VALUES ((SELECT max(id) FROM payload_list), ?, ?)";

void loadDataSets(const Database& database, Content& content) {
    Statement rows(database, kDataSets);
    std::int64_t current = 0;  // ids begin at 1
    while (rows.step()) {
        if (rows.number(0) != current) {
            current = rows.number(0);
            const auto kind = rows.number(1) != 0 ? DataKind::pcd : DataKind::payload;
            content.dataSets.push_back(
                {kind, static_cast<int>(rows.number(2)), std::string(rows.text(3)), {}});
        }
        if (!rows.isNull(4))
            content.dataSets.back().values.emplace_back(rows.text(4), rows.text(5));
    }
}

void loadLists(const Database& database, Content& content) {
    Statement rows(database, kLists);
    std::int64_t current = 0;
    while (rows.step()) {
        if (rows.number(0) != current) {
            current = rows.number(0);
            const auto kind =
                rows.number(1) != 0 ? Content::ListKind::collection : Content::ListKind::product;
            content.lists.push_back({kind, std::string(rows.text(2)), {}});
        }
        if (!rows.isNull(3))
            content.lists.back().payloads.emplace_back(rows.text(3));
    }
}

void addPayloads(const Database& database, const Content& content) {
    Statement add(database, kAddPayload);
    for (const auto& payload : content.payloads)
        add.bind(1, payload.code).bind(2, payload.kind).bind(3, std::int64_t{payload.state}).run();
}

void addDataSets(const Database& database, const Content& content) {
    DataWriter writer(database);
    for (const auto& set : content.dataSets) {
        const std::int64_t id = writer.dataSet(set.kind, set.domain, set.name);
        for (const auto& [key, value] : set.values)
            writer.set(id, key, value);
    }
}

void addLists(const Database& database, const Content& content) {
    Statement addList(database, kAddList);
    Statement addEntry(database, kAddEntry);
    for (const auto& list : content.lists) {
        const std::string_view kindName =
            list.kind == Content::ListKind::collection ? "collection" : "product";
        addList.bind(1, kindName).bind(2, list.name).run();
        std::int64_t place = 0;
        for (const auto& code : list.payloads)
            addEntry.bind(1, ++place).bind(2, code).run();
    }
}

}  // namespace

Content load(Database& database) {
    Content content;
    Transaction oneMoment(database, Transaction::Kind::read);
    loadDataSets(database, content);
    Statement payloads(database, kPayloads);
    while (payloads.step())
        content.payloads.push_back({std::string(payloads.text(0)), std::string(payloads.text(1)),
                                    static_cast<int>(payloads.number(2))});
    loadLists(database, content);
    return content;
}

void replace(Database& database, const Content& content) {
    Transaction transaction(database, Transaction::Kind::write);
    createTables(database);
    database.execute(kClear);
    addPayloads(database, content);
    addDataSets(database, content);
    addLists(database, content);
    touch(database, Part::pcd);
    touch(database, Part::vell);
    transaction.commit();
}

}  // namespace tavik::vell
