#pragma once

#include <memory>
#include <string_view>

#include "platform/core/package/ContentCheck.h"
#include "platform/core/package/Package.h"
#include "platform/core/trust/ContentList.h"
#include "platform/core/trust/Signer.h"

namespace tavik {

/// The entries that sign a package: the list of all other entries, its detached signature, and,
/// where the key took the place of another one, the statements that say so.
inline constexpr std::string_view kContentListPath = "META-INF/content.json";
inline constexpr std::string_view kContentSignaturePath = "META-INF/content.json.sig";
inline constexpr std::string_view kSuccessionPath = "META-INF/succession.json";

/// Whether the path is in the folder that is reserved for them, in any letter case.
bool isReservedPath(std::string_view path);

/// The list that the package's author would have to sign: all entries but the reserved ones, in the
/// order of their paths. Reads the whole content with bounded memory.
std::vector<ListedEntry> listContent(const Package& package, Crypto& crypto);

/// A package whose signature is right.
struct VerifiedPackage {
    Signer signer;
    /// What the signature vouches for, to be given to the extraction; null for an unsigned package.
    std::shared_ptr<const ContentCheck> content;
};

/// Checks who signed the package, and that its headers and its manifest are what was signed. The
/// other files' bytes are left to `content`. An unsigned package is looked at by its names only.
/// Throws Error about the package: packageUnsafe for a reserved entry that is none of them,
/// signatureWrong also where list or signature is missing, contentDiffers naming the entry, and
/// what verifySignature and requireNoSignatureNeeded throw.
VerifiedPackage verifyPackage(const Package& package, const TrustRules& rules);

/// The same, and compares all content without extracting it. Throws also packageDamaged for content
/// that does not inflate.
VerifiedPackage verifyWholePackage(const Package& package, const TrustRules& rules);

}  // namespace tavik
