#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/core/crypto/Crypto.h"
#include "platform/core/policy/Policy.h"
#include "platform/core/trust/TrustedKeys.h"

namespace tavik {

/// Who signed a package or a feed.
struct Signer {
    std::string key;  ///< the key's fingerprint: SHA-256 of its DER form in lower-case hexadecimal
                      ///< digits; empty: unsigned
    /// The fingerprints of the keys whose place this key takes.
    std::vector<std::string> succeeds;
};

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

/// Who signed `message`, whose signature file has the bytes `signature`. Throws Error about
/// `subject`: signatureWrong with `place` in its text, signerUnknown where the policy requires a
/// trusted key and this is none, and what TrustedKeys throws.
Signer verifySignature(const std::string& subject, const std::string& place,
                       std::string_view message, std::string_view signature,
                       const TrustRules& rules);

/// Throws Error (signerChanged) where an extension that was signed would be replaced by an unsigned
/// one or by one under another key. `installed` is a fingerprint; an empty one means unsigned.
void requireSameSigner(const std::string& installed, const Signer& offered,
                       const std::string& subject);

/// The same for a feed and the key that signed it before (feedSignerChanged).
void requireSameFeedSigner(const std::string& before, const Signer& now,
                           const std::string& subject);

}  // namespace tavik
