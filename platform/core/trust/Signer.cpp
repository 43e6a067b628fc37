#include "platform/core/trust/Signer.h"

#include <algorithm>

#include "platform/core/status/Status.h"

namespace tavik {
namespace {

bool maySucceed(const std::string& before, const Signer& now) {
    return before.empty() || before == now.key ||
           std::find(now.succeeds.begin(), now.succeeds.end(), before) != now.succeeds.end();
}

std::string described(const Signer& signer) {
    return signer.key.empty() ? std::string("unsigned") : "key " + signer.key;
}

}  // namespace

void requireNoSignatureNeeded(const std::string& subject, const TrustRules& rules) {
    if (rules.policy.requireSignature)
        fail(Status::signatureMissing, subject);
}

Signer verifySignature(const std::string& subject, const std::string& place,
                       std::string_view message, std::string_view signature,
                       const TrustRules& rules) {
    Crypto& crypto = rules.crypto();
    KeyFinding signer = crypto.findSigner(message, signature);
    if (!signer.fault.empty())
        fail(Status::signatureWrong, subject, place + " " + signer.fault);
    const bool isTrusted = rules.keys.contain(signer.fingerprint, crypto);
    if (!isTrusted && rules.policy.requireSignature)
        fail(Status::signerUnknown, subject, "key " + signer.fingerprint);
    return {std::move(signer.fingerprint), {}};
}

void requireSameSigner(const std::string& installed, const Signer& offered,
                       const std::string& subject) {
    if (!maySucceed(installed, offered))
        fail(Status::signerChanged, subject,
             "installed: key " + installed + "; package: " + described(offered));
}

void requireSameFeedSigner(const std::string& before, const Signer& now,
                           const std::string& subject) {
    if (!maySucceed(before, now))
        fail(Status::feedSignerChanged, subject,
             "before: key " + before + "; now: " + described(now));
}

}  // namespace tavik
