#pragma once

#include <string>

#include "platform/core/package/PackageLimits.h"

namespace tavik {

/// What an administrator decides for all users of the machine.
struct Policy {
    bool requireSignature = false;  ///< of packages and of feeds, by a trusted key
    PackageLimits limits;
};

/// Reads `policy.json` in the shared store's family folder; the defaults where there is none.
/// Throws Error: policyInvalid naming the file and the place in it, also for a member that this
/// core does not know, storeUnsafe where others than root and the current user could have written
/// it, or by the system's error: a policy that cannot be read is no policy that allows.
Policy loadPolicy(const std::string& familyFolder);

/// The same from the file's bytes. Throws JsonError.
Policy parsePolicy(std::string_view json);

}  // namespace tavik
