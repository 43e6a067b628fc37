#pragma once

#include <string>

#include "platform/core/package/Package.h"
#include "platform/core/policy/Policy.h"

namespace tavik {

/// Opens a package with the policy's limits, so that what is extracted from it later is what is
/// verified now: where a signature counts and somebody else could change the file while it is at
/// work, the work goes on with a private copy of it in memory. Throws what Package::open throws.
Package openStable(const std::string& path, const Policy& policy);

}  // namespace tavik
