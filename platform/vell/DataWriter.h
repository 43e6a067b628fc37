#pragma once

#include <string>
#include <string_view>

#include "platform/support/Sqlite.h"

namespace tavik::vell {

/// What a subdomain, a payload or a key is called, and what a key's value is, at the most: together
/// they fit the longest row that our databases take.
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

    /// The data set's id; it is made where it is missing.
    std::int64_t dataSet(DataKind kind, int domain, std::string_view name);
    void set(std::int64_t dataSet, std::string_view key, std::string_view value);

    /// Takes a pcd value out, and its subdomain with the last one. False where there is none.
    bool remove(int domain, std::string_view subdomain, std::string_view key);

  private:
    Statement makeSet_;
    Statement findSet_;
    Statement setValue_;
    Statement removeValue_;
    Statement removeEmptySet_;
};

}  // namespace tavik::vell
