#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/support/Sqlite.h"
#include "platform/vell/Kept.h"

namespace tavik::vell {

/// All subdomains of one pcd domain with their keys and values, read at one moment by one query: a
/// reader that walks them never sees half of another program's change, and runs a single query.
class DomainSnapshot {
  public:
    struct Subdomain {
        const char** keys;
        const char** values;  ///< one for each key
    };

    DomainSnapshot(const Database& database, int domain, Kept& kept);
    DomainSnapshot(const DomainSnapshot&) = delete;
    DomainSnapshot& operator=(const DomainSnapshot&) = delete;

    bool isEmpty() const { return subdomains_.empty(); }
    const char** names() const { return names_; }
    /// Null where there is no such subdomain.
    const Subdomain* find(std::string_view name);

  private:
    using Map = std::unordered_map<std::string_view, Subdomain>;

    const char** names_;
    Map subdomains_;
    Map::const_iterator last_;  ///< found last: readers ask for one key of it after the other
};

}  // namespace tavik::vell
