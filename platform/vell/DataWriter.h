#pragma once

#include <string>
#include <string_view>

#include "platform/support/Sqlite.h"

namespace tavik::vell {

/// The longest name of a subdomain, a payload or a key, and the longest value. A row with both
/// stays below the limit that our databases set for a row.
inline constexpr std::size_t kMaxNameBytes = std::size_t{64} << 10;
inline constexpr std::size_t kMaxValueBytes = std::size_t{8} << 20;

/// Whose keys and values a data set holds: a pcd subdomain's, or a payload's in one domain.
enum class DataKind { pcd, payload };

/// The kind's name in the database.
std::string_view nameOf(DataKind kind);

/// Writes keys and values within the caller's transaction; it does not touch modification times.
class DataWriter {
  public:
    explicit DataWriter(const Database& database);

    /// The data set's id. A missing data set is created.
    std::int64_t dataSet(DataKind kind, int domain, std::string_view name);
    void set(std::int64_t dataSet, std::string_view key, std::string_view value);

    /// Removes a pcd value, and its subdomain with the last value. False if there is no such value.
    bool remove(int domain, std::string_view subdomain, std::string_view key);

  private:
    Statement makeSet_;
    Statement findSet_;
    Statement setValue_;
    Statement removeValue_;
    Statement removeEmptySet_;
};

}  // namespace tavik::vell
