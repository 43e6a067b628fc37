#include "platform/vell/Session.h"

#include "platform/support/Json.h"
#include "platform/support/Text.h"
#include "platform/vell/Failure.h"
#include "platform/vell/InstallerDatabase.h"

namespace tavik::vell {
namespace {

// One row with a null for a data set without keys, no row where there is no such data set.
constexpr const char* kKeys =
    "SELECT data.key FROM data_set LEFT JOIN data ON data.data_set = data_set.id "
    "WHERE data_set.kind = ? AND data_set.domain = ? AND data_set.name = ? ORDER BY data.place";
constexpr const char* kValue =
    "SELECT data.value FROM data_set JOIN data ON data.data_set = data_set.id "
    "WHERE data_set.kind = ? AND data_set.domain = ? AND data_set.name = ? AND data.key = ?";
constexpr const char* kCollectionPayloads =
    "SELECT entry.payload FROM payload_list AS list "
    "JOIN payload_list_entry AS entry ON entry.payload_list = list.id "
    "JOIN payload ON payload.code = entry.payload "
    "WHERE list.kind = 'collection' AND list.name = ? AND payload.state = ? ORDER BY entry.place";
constexpr const char* kPayloads = "SELECT code FROM payload WHERE state = ? ORDER BY id";
constexpr const char* kPayload = "SELECT kind FROM payload WHERE code = ?";
constexpr const char* kProductIds =
    "SELECT name FROM payload_list WHERE kind = 'product' ORDER BY id";
constexpr const char* kProduct = "SELECT 1 FROM payload_list WHERE kind = 'product' AND name = ?";
constexpr const char* kProductPayloads =
    "SELECT entry.payload FROM payload_list AS list "
    "JOIN payload_list_entry AS entry ON entry.payload_list = list.id "
    "WHERE list.kind = 'product' AND list.name = ? ORDER BY entry.place";

/// A statement in use. Its end resets the statement, which releases its lock.
class Query {
  public:
    explicit Query(Statement& statement) : statement_(statement) {}
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;
    ~Query() { statement_.reset(); }

    template <typename Value>
    Query& bind(int parameter, Value value) {
        statement_.bind(parameter, value);
        return *this;
    }
    Statement* operator->() { return &statement_; }

  private:
    Statement& statement_;
};

/// The first column of all rows.
std::vector<const char*> column(Query& query, Kept& kept) {
    std::vector<const char*> texts;
    while (query->step())
        texts.push_back(kept.text(query->text(0)));
    return texts;
}

Failure noSubdomain(int domain, std::string_view name) {
    return notFound("subdomain " + quoteJson(name) + " of domain " + std::to_string(domain));
}

Failure noKey(std::string_view name, std::string_view key) {
    return notFound("key " + quoteJson(key) + " of " + quoteJson(name));
}

void checkText(const char* what, std::string_view text, std::size_t maxBytes) {
    if (!isUtf8(text))
        throw Failure(VELL_STATUS_INVALID, what, "is no UTF-8");
    if (text.size() > maxBytes)
        throw Failure(VELL_STATUS_TOO_LARGE, what,
                      "has more than " + std::to_string(maxBytes) + " bytes; shorten it");
}

void checkName(const char* what, std::string_view name) {
    if (name.empty())
        throw Failure(VELL_STATUS_INVALID, what, "is empty");
    checkText(what, name, kMaxNameBytes);
}

void checkDomain(int domain) {
    if (domain < 0)
        throw Failure(VELL_STATUS_INVALID, "domain " + std::to_string(domain), "is below 0");
}

}  // namespace

Session::Session() : path_(databasePath()), database_(open(path_, Access::read)) {}

Statement& Session::prepared(const char* sql) {
    const auto found = statements_.find(sql);
    if (found != statements_.end())
        return found->second;
    return statements_.emplace(sql, Statement(database_, sql)).first->second;
}

const char** Session::subdomains(int domain) {
    const std::int64_t version = database_.pragmaNumber("data_version");
    if (version != dataVersion_)
        snapshots_.clear();
    dataVersion_ = version;
    const auto& snapshot = snapshots_.try_emplace(domain, database_, domain, kept_).first->second;
    return snapshot.isEmpty() ? nullptr : snapshot.names();
}

const DomainSnapshot::Subdomain* Session::snapshotOf(DataKind kind, int domain, const char* name) {
    const auto snapshot = kind == DataKind::pcd ? snapshots_.find(domain) : snapshots_.end();
    if (snapshot == snapshots_.end())
        return nullptr;
    const auto* subdomain = snapshot->second.find(name);
    if (subdomain == nullptr)
        throw noSubdomain(domain, name);
    return subdomain;
}

const char** Session::keys(DataKind kind, int domain, const char* name) {
    if (const auto* subdomain = snapshotOf(kind, domain, name))
        return subdomain->keys;
    Query query(prepared(kKeys));
    query.bind(1, nameOf(kind)).bind(2, std::int64_t{domain}).bind(3, std::string_view(name));
    if (!query->step())
        throw noSubdomain(domain, name);
    std::vector<const char*> keys;
    if (!query->isNull(0)) {
        do
            keys.push_back(kept_.text(query->text(0)));
        while (query->step());
    }
    return kept_.list(keys);
}

const char* Session::value(DataKind kind, int domain, const char* name, const char* key) {
    if (const auto* subdomain = snapshotOf(kind, domain, name)) {
        for (std::size_t i = 0; subdomain->keys[i] != nullptr; ++i)
            if (std::string_view(subdomain->keys[i]) == key)
                return subdomain->values[i];
        throw noKey(name, key);
    }
    Query query(prepared(kValue));
    query.bind(1, nameOf(kind)).bind(2, std::int64_t{domain}).bind(3, std::string_view(name));
    query.bind(4, std::string_view(key));
    if (!query->step())
        throw noKey(name, key);
    return kept_.text(query->text(0));
}

template <typename Change>
void Session::write(Change change) try {
    Database writable = open(path_, Access::write);
    Transaction transaction(writable, Transaction::Kind::write);
    DataWriter writer(writable);
    change(writer);
    touch(writable, Part::pcd);
    transaction.commit();
    snapshots_.clear();
} catch (const SqliteError& error) {
    throw describe(error, path_);
}

void Session::set(int domain, const char* subdomain, const char* key, const char* value) {
    checkDomain(domain);
    checkName("subdomain", subdomain);
    checkName("key", key);
    checkText("value", value, kMaxValueBytes);
    write([&](DataWriter& writer) {
        writer.set(writer.dataSet(DataKind::pcd, domain, subdomain), key, value);
    });
}

void Session::remove(int domain, const char* subdomain, const char* key) {
    checkDomain(domain);
    write([&](DataWriter& writer) {
        if (!writer.remove(domain, subdomain, key))
            throw noKey(subdomain, key);
    });
}

const char** Session::collectionPayloads(const char* collection, int state) {
    Query query(prepared(kCollectionPayloads));
    query.bind(1, std::string_view(collection)).bind(2, std::int64_t{state});
    const auto codes = column(query, kept_);
    return codes.empty() ? nullptr : kept_.list(codes);
}

const char** Session::payloads(int state) {
    Query query(prepared(kPayloads));
    query.bind(1, std::int64_t{state});
    return kept_.list(column(query, kept_));
}

velliPayload* Session::payload(const char* id) {
    Query query(prepared(kPayload));
    query.bind(1, std::string_view(id));
    if (!query->step())
        throw notFound(id);
    return kept_.record(velliPayload{kept_.text(id), {}, kept_.text(query->text(0))});
}

const char** Session::productIds() {
    Query query(prepared(kProductIds));
    return kept_.list(column(query, kept_));
}

velliProduct* Session::product(const char* id) {
    Query query(prepared(kProduct));
    query.bind(1, std::string_view(id));
    if (!query->step())
        throw notFound(id);
    return kept_.record(velliProduct{kept_.text(id)});
}

const char** Session::productPayloads(const velliProduct& product) {
    Query query(prepared(kProductPayloads));
    query.bind(1, std::string_view(product.id));
    return kept_.list(column(query, kept_));
}

}  // namespace tavik::vell
