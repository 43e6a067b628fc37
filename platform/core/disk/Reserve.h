#pragma once

#include <cstdint>

namespace tavik {

/// Room on the disk that a store keeps for itself: what a full disk takes from an install must not
/// keep a removal from freeing space, nor a repair from tidying up. Both write the next version of
/// the database first, so the reserve is larger than that.
///
/// Makes the reserve in the family folder where it is missing or too small for a database of that
/// size; without room for it there is none.
void keepReserve(int familyFolder, std::uint64_t databaseBytes) noexcept;

/// Gives the reserve's room back; false where there was none.
bool releaseReserve(int familyFolder) noexcept;

}  // namespace tavik
