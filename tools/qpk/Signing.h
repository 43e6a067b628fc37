#pragma once

#include <string>

#include "platform/core/crypto/Ed25519.h"
#include "platform/core/package/PackageFile.h"
#include "platform/core/trust/Signer.h"

namespace tavik::qpk {

/// The rules for authors' packages: any key may have signed them, or none.
TrustRules authorRules();

/// The cryptography that the rules use. It lives as long as the process.
Crypto& authorCrypto();

/// Throws Error (keyInvalid) about the file.
PrivateKey readPrivateKey(const std::string& path);

/// SHA-256 of the file's bytes in lower-case hexadecimal digits.
std::string digestOf(const PackageFile& file);

}  // namespace tavik::qpk
