#include "platform/core/trust/Signer.h"

#include "platform/core/status/Status.h"

namespace tavik {

void requireNoSignatureNeeded(const std::string& subject, const TrustRules& rules) {
    if (rules.policy.requireSignature)
        fail(Status::signatureMissing, subject);
}

std::string verifySignature(const std::string& subject, const std::string& place,
                            std::string_view message, std::string_view signature,
                            const TrustRules& rules) {
    Crypto& crypto = rules.crypto();
    KeyFinding signer = crypto.findSigner(message, signature);
    if (!signer.fault.empty())
        fail(Status::signatureWrong, subject, place + " " + signer.fault);
    const bool isTrusted = rules.keys.contain(signer.fingerprint, crypto);
    if (!isTrusted && rules.policy.requireSignature)
        fail(Status::signerUnknown, subject, "key " + signer.fingerprint);
    return std::move(signer.fingerprint);
}

void requireSameSigner(const std::string& installed, const std::string& offered,
                       const std::string& subject) {
    if (installed.empty() || installed == offered)
        return;
    fail(Status::signerChanged, subject,
         "installed: key " + installed +
             "; package: " + (offered.empty() ? std::string("unsigned") : "key " + offered));
}

}  // namespace tavik
