#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/core/disk/StoreFolder.h"
#include "platform/support/PageMemory.h"

namespace tavik {

inline constexpr const char* kDatabaseName = "store.db";
/// The version before the current one, for a rebuild.
inline constexpr const char* kPreviousName = "store.db.previous";

// "Tavk": tells our database from any other file that SQLite could open.
inline constexpr std::uint32_t kApplicationId = 0x5461766B;
inline constexpr std::uint32_t kSchemaVersion = 2;
/// The form that was changed in place, with a write-ahead log beside it.
inline constexpr std::uint32_t kEarlierSchemaVersion = 1;

/// A larger file is no database of ours.
inline constexpr std::size_t kMaxImageBytes = std::size_t{1} << 30;

/// The bytes of a store's database file, as they were at one moment.
///
/// The file is an SQLite database in rollback form and behind its last page a seal of 16 bytes:
/// "TavkSum1" and the CRC-32 of all bytes before it, in eight hexadecimal digits. SQLite goes by
/// the number of pages in its header, so that every SQLite program can read the file. A file is
/// never changed, only replaced, so the seal tells any damage before a row is read.
struct StoreImage {
    enum class Kind { absent, sound, earlierForm, damaged };

    Kind kind = Kind::absent;
    PageMemory bytes;   ///< of the database, without the seal
    std::string seal;   ///< of a sound one
    std::string fault;  ///< what is wrong with a damaged one
};

/// Reads the file of that name in the store through one descriptor. What is no regular file, or too
/// large, is damaged: a link is not followed, and a pipe not waited for. Throws Status::storeUnsafe
/// for what others could have changed, Status::storeNewer for a form that this version does not
/// know, and errno failures.
StoreImage readStoreImage(const StoreFolder& folder, const std::string& name);

/// The seal at the end of the store's database; empty where there is no database. Throws
/// Status::storeDamaged for a file that ends otherwise, and errno failures.
std::string readSeal(const StoreFolder& folder);

/// The seal for these bytes.
std::string sealOf(std::string_view image);

}  // namespace tavik
