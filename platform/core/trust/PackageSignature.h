#pragma once

#include <string_view>

#include "platform/core/package/Package.h"
#include "platform/core/trust/ContentList.h"
#include "platform/core/trust/Signer.h"

namespace tavik {

/// The entries that sign a package: the list of all other entries, and its detached signature.
inline constexpr std::string_view kContentListPath = "META-INF/content.json";
inline constexpr std::string_view kContentSignaturePath = "META-INF/content.json.sig";

/// Whether the path is in the folder that is reserved for the two, in any letter case.
bool isReservedPath(std::string_view path);

/// Whether the package has anything of a signature, right or wrong.
bool hasSignature(const Package& package);

/// The list that the package's author would have to sign: all entries but the reserved ones, in the
/// order of their paths. Reads the whole content with bounded memory.
std::vector<ListedEntry> listContent(const Package& package, Crypto& crypto);

/// Checks who signed the package, and that it is what was signed, to the last byte: the fingerprint
/// of the signer's key, empty for an unsigned package, which is looked at by its names only. Throws
/// Error about the package: packageUnsafe for a reserved entry that is none of the two,
/// signatureWrong also where one of the two is missing, contentDiffers naming the entry, what
/// verifySignature and requireNoSignatureNeeded throw, and packageDamaged for content that does not
/// inflate.
std::string verifyPackage(const Package& package, const TrustRules& rules);

}  // namespace tavik
