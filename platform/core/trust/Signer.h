#pragma once

#include <functional>
#include <string>

#include "platform/core/online/Crypto.h"
#include "platform/core/policy/Policy.h"
#include "platform/core/trust/TrustedKeys.h"

namespace tavik {

/// Who signed a package or a feed.
struct SignerReport {
    std::string fingerprint;  ///< of the key: SHA-256 of its DER form in hex; empty: unsigned
    bool isTrusted = false;   ///< the key is one of the trusted ones

    bool isSigned() const noexcept { return !fingerprint.empty(); }
};

/// What signatures are judged by.
struct TrustRules {
    Policy policy;
    TrustedKeys keys;
    /// Called when there is a signature to be checked, and not before: it may load a library.
    std::function<Crypto&()> crypto;
};

/// The report on something without a signature. Throws Error (signatureMissing) where the policy
/// requires one.
SignerReport judgeUnsigned(const std::string& subject, const TrustRules& rules);

/// The report on `message`, whose signature file has the bytes `signature`. Throws Error about
/// `subject`: signatureWrong with `place` in its text, signerUnknown where the policy requires a
/// trusted key and this is none, and what TrustedKeys throws.
SignerReport judgeSigned(const std::string& subject, const std::string& place,
                         std::string_view message, std::string_view signature,
                         const TrustRules& rules);

/// Throws Error (signerChanged) where an extension that was signed would be replaced by an unsigned
/// one or by one under another key. Fingerprints as in SignerReport.
void requireSameSigner(const std::string& installed, const std::string& offered,
                       const std::string& subject);

}  // namespace tavik
