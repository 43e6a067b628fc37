#include "platform/vell/DataWriter.h"

namespace tavik::vell {
namespace {

constexpr const char* kMakeSet =
    "INSERT INTO data_set (kind, domain, name) VALUES (?, ?, ?) ON CONFLICT DO NOTHING";
constexpr const char* kFindSet =
    "SELECT id FROM data_set WHERE kind = ? AND domain = ? AND name = ?";
// An existing key keeps its place.
constexpr const char* kSetValue =
    "INSERT INTO data (data_set, place, key, value) VALUES "
    "(?1, (SELECT coalesce(max(place), 0) + 1 FROM data WHERE data_set = ?1), ?2, ?3) "
    "ON CONFLICT (data_set, key) DO UPDATE SET value = excluded.value";
constexpr const char* kRemoveValue = "DELETE FROM data WHERE data_set = ? AND key = ? RETURNING 1";
constexpr const char* kRemoveEmptySet =
    "DELETE FROM data_set WHERE id = ?1 AND NOT EXISTS (SELECT 1 FROM data WHERE data_set = ?1)";

}  // namespace

std::string_view nameOf(DataKind kind) {
    return kind == DataKind::pcd ? "pcd" : "payload";
}

DataWriter::DataWriter(const Database& database)
    : makeSet_(database, kMakeSet),
      findSet_(database, kFindSet),
      setValue_(database, kSetValue),
      removeValue_(database, kRemoveValue),
      removeEmptySet_(database, kRemoveEmptySet) {}

std::int64_t DataWriter::dataSet(DataKind kind, int domain, std::string_view name) {
    makeSet_.bind(1, nameOf(kind)).bind(2, std::int64_t{domain}).bind(3, name).run();
    findSet_.bind(1, nameOf(kind)).bind(2, std::int64_t{domain}).bind(3, name).step();
    const std::int64_t id = findSet_.number(0);
    findSet_.reset();
    return id;
}

void DataWriter::set(std::int64_t dataSet, std::string_view key, std::string_view value) {
    setValue_.bind(1, dataSet).bind(2, key).bind(3, value).run();
}

bool DataWriter::remove(int domain, std::string_view subdomain, std::string_view key) {
    findSet_.bind(1, nameOf(DataKind::pcd)).bind(2, std::int64_t{domain}).bind(3, subdomain);
    const bool known = findSet_.step();
    const std::int64_t id = known ? findSet_.number(0) : 0;
    findSet_.reset();
    if (!known)
        return false;
    bool removed = false;
    removeValue_.bind(1, id).bind(2, key);
    while (removeValue_.step())
        removed = true;
    removeValue_.reset();
    if (removed)
        removeEmptySet_.bind(1, id).run();
    return removed;
}

}  // namespace tavik::vell
