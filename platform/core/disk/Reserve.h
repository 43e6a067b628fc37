#pragma once

#include <cstdint>

namespace tavik {

/// Room on the disk that a store keeps for itself: a full disk may fail an install, but not a
/// removal, which frees space, or a repair. Both write the next version of the database first, so
/// the reserve is larger than the database.
///
/// Makes the reserve in the family folder where it is missing or too small for a database of that
/// size; if the disk has no room for it, there is none.
void keepReserve(int familyFolder, std::uint64_t databaseBytes) noexcept;

/// Gives the reserve's room back; false where there was none.
bool releaseReserve(int familyFolder) noexcept;

}  // namespace tavik
