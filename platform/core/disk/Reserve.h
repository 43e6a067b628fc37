#pragma once

namespace tavik {

/// Room on the disk that a store keeps for itself: what a full disk takes from an install must not
/// keep a removal from freeing space, nor a repair from tidying up.
///
/// Makes the reserve in the family folder where it is missing; without room for it there is none.
void keepReserve(int familyFolder) noexcept;

/// Gives the reserve's room back; false where there was none.
bool releaseReserve(int familyFolder) noexcept;

}  // namespace tavik
