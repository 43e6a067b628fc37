#pragma once

#include <string>

#include "platform/core/package/Package.h"
#include "platform/core/trust/Signer.h"

namespace tavik {

/// A package whose container, manifest and signature have been checked against the policy.
struct VerifiedPackage {
    Package package;
    SignerReport signer;
};

/// Opens and checks a package with the policy's limits. Where a signature counts and somebody else
/// could change the file while it is at work, the work goes on with a private copy of it in memory:
/// what is extracted later is what was verified. Throws what Package::open and verifyPackage throw.
VerifiedPackage openVerified(PackageFile file, const TrustRules& rules);

/// The same for a file that is not open yet.
VerifiedPackage openVerified(const std::string& path, const TrustRules& rules);

}  // namespace tavik
