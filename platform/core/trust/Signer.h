#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/crypto/Crypto.h"
#include "platform/core/policy/Policy.h"
#include "platform/core/trust/TrustedKeys.h"

namespace tavik {

/// Who signed a package or a feed.
struct Signer {
    std::string key;  ///< the key's fingerprint: SHA-256 of its DER form in lower-case hexadecimal
                      ///< digits; empty: unsigned
    /// The fingerprints of the keys whose place this key takes: those that named it as their
    /// successor, and, where the key is itself a trusted one, those that were taken back.
    std::vector<std::string> succeeds;
    /// Where the key is itself a trusted one: all keys that are. Otherwise empty.
    std::vector<std::string> trusted = {};
};

/// What a signature was found on.
struct SignedText {
    std::string subject;  ///< what failures are about
    std::string place;    ///< where the signature is, for failures
    std::string_view message;
    std::string_view signature;   ///< the bytes of the signature file
    std::string_view succession;  ///< the bytes of the file of successions; empty: there is none
};

/// What signatures are judged by.
struct TrustRules {
    Policy policy;
    TrustedKeys keys;
    /// Called only when there is a signature to check, because it may load a library.
    std::function<Crypto&()> crypto;
};

/// Throws Error (signatureMissing) where the policy requires a signature of `subject`, which has
/// none.
void requireNoSignatureNeeded(const std::string& subject, const TrustRules& rules);

/// Who signed the text. A key that a trusted key has named as its successor counts as trusted.
/// Throws Error about the subject: signatureWrong with the place in its text, signerRevoked,
/// signerUnknown where the policy requires a trusted key and this is none, and what TrustedKeys
/// throws.
Signer verifySignature(const SignedText& text, const TrustRules& rules);

/// "unsigned" or "signed by key ...".
std::string describe(const Signer& signer);

/// Whether what `now` signed may replace what the key `before` signed, a fingerprint; an empty one
/// means unsigned.
bool maySucceed(const std::string& before, const Signer& now);

/// Throws Error (signerChanged) where an extension that was signed would be replaced by an unsigned
/// one or by one under another key. See maySucceed.
void requireSameSigner(const std::string& installed, const Signer& offered,
                       const std::string& subject);

/// The same for a feed and the key that signed it before (feedSignerChanged). A trusted key may
/// also take the place of a key that is not trusted: the administrator's choice counts more than
/// the first key seen.
void requireSameFeedSigner(const std::string& before, const Signer& now,
                           const std::string& subject);

}  // namespace tavik
