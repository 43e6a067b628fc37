#pragma once

#include <functional>
#include <string>

#include "platform/core/crypto/Crypto.h"
#include "platform/core/policy/Policy.h"
#include "platform/core/trust/TrustedKeys.h"

namespace tavik {

/// What signatures are judged by.
struct TrustRules {
    Policy policy;
    TrustedKeys keys;
    /// Called when there is a signature to be checked, and not before: it may load a library.
    std::function<Crypto&()> crypto;
};

/// Throws Error (signatureMissing) where the policy requires a signature of `subject`, which has
/// none.
void requireNoSignatureNeeded(const std::string& subject, const TrustRules& rules);

/// The fingerprint of the key that signed `message`, whose signature file has the bytes
/// `signature`: SHA-256 of the key's DER form in lower-case hexadecimal digits. Throws Error about
/// `subject`: signatureWrong with `place` in its text, signerUnknown where the policy requires a
/// trusted key and this is none, and what TrustedKeys throws.
std::string verifySignature(const std::string& subject, const std::string& place,
                            std::string_view message, std::string_view signature,
                            const TrustRules& rules);

/// Throws Error (signerChanged) where an extension that was signed would be replaced by an unsigned
/// one or by one under another key. Both are fingerprints; an empty one means unsigned.
void requireSameSigner(const std::string& installed, const std::string& offered,
                       const std::string& subject);

}  // namespace tavik
