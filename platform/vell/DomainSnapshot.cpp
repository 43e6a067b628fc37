#include "platform/vell/DomainSnapshot.h"

namespace tavik::vell {
namespace {

// A subdomain without keys is one row without a key.
constexpr const char* kWholeDomain =
    "SELECT data_set.id, data_set.name, data.key, data.value "
    "FROM data_set LEFT JOIN data ON data.data_set = data_set.id "
    "WHERE data_set.kind = 'pcd' AND data_set.domain = ? "
    "ORDER BY data_set.id, data.place";

}  // namespace

DomainSnapshot::DomainSnapshot(const Database& database, int domain, Kept& kept) {
    Statement rows(database, kWholeDomain);
    rows.bind(1, std::int64_t{domain});
    std::vector<const char*> names;
    std::vector<const char*> keys;
    std::vector<const char*> values;
    const auto finishSubdomain = [&] {
        if (!names.empty())
            subdomains_.emplace(names.back(), Subdomain{kept.list(keys), kept.list(values)});
        keys.clear();
        values.clear();
    };
    std::int64_t current = 0;  // ids begin at 1
    while (rows.step()) {
        if (rows.number(0) != current) {
            finishSubdomain();
            current = rows.number(0);
            names.push_back(kept.text(rows.text(1)));
        }
        if (!rows.isNull(2)) {
            keys.push_back(kept.text(rows.text(2)));
            values.push_back(kept.text(rows.text(3)));
        }
    }
    finishSubdomain();
    names_ = kept.list(names);
    last_ = subdomains_.end();
}

const DomainSnapshot::Subdomain* DomainSnapshot::find(std::string_view name) {
    if (last_ == subdomains_.end() || last_->first != name)
        last_ = subdomains_.find(name);
    return last_ == subdomains_.end() ? nullptr : &last_->second;
}

}  // namespace tavik::vell
