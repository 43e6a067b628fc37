#include "platform/core/trust/Signer.h"

#include <algorithm>

#include "platform/core/status/Status.h"
#include "platform/core/trust/Digests.h"
#include "platform/core/trust/Succession.h"
#include "platform/support/Json.h"

namespace tavik {
namespace {

std::vector<std::string> predecessors(const std::string& key, const SignedText& text,
                                      const std::vector<std::string>& revoked, Crypto& crypto) try {
    return keysSucceededBy(key, parseSuccessions(text.succession), revoked, crypto);
} catch (const JsonError& error) {
    fail(Status::signatureWrong, text.subject,
         std::string("the succession of its key: ") + error.what());
}

}  // namespace

std::string describe(const Signer& signer) {
    return signer.key.empty() ? std::string("unsigned") : "signed by key " + signer.key;
}

bool maySucceed(const std::string& before, const Signer& now) {
    return before.empty() || before == now.key || isIn(now.succeeds, before);
}

void requireNoSignatureNeeded(const std::string& subject, const TrustRules& rules) {
    if (rules.policy.requireSignature)
        fail(Status::signatureMissing, subject);
}

Signer verifySignature(const SignedText& text, const TrustRules& rules) {
    Crypto& crypto = rules.crypto();
    const KeyFinding finding = crypto.findSigner(text.message, text.signature);
    if (!finding.fault.empty())
        fail(Status::signatureWrong, text.subject, text.place + " " + finding.fault);
    const std::vector<std::string>& revoked = rules.keys.revoked(crypto);
    if (isIn(revoked, finding.fingerprint))
        fail(Status::signerRevoked, text.subject, "key " + finding.fingerprint);

    Signer signer{finding.fingerprint, {}};
    if (!text.succession.empty())
        signer.succeeds = predecessors(signer.key, text, revoked, crypto);
    const auto isTrusted = [&](const std::string& key) { return rules.keys.contain(key, crypto); };
    if (isTrusted(signer.key)) {
        signer.succeeds.insert(signer.succeeds.end(), revoked.begin(), revoked.end());
        signer.trusted = rules.keys.trusted(crypto);
    } else if (rules.policy.requireSignature &&
               std::none_of(signer.succeeds.begin(), signer.succeeds.end(), isTrusted)) {
        fail(Status::signerUnknown, text.subject, "key " + signer.key);
    }
    return signer;
}

void requireSameSigner(const std::string& installed, const Signer& offered,
                       const std::string& subject) {
    if (!maySucceed(installed, offered))
        fail(Status::signerChanged, subject,
             "installed: key " + installed + "; package: " + describe(offered));
}

void requireSameFeedSigner(const std::string& before, const Signer& now,
                           const std::string& subject) {
    const bool isChosenInstead = !now.trusted.empty() && !isIn(now.trusted, before);
    if (!maySucceed(before, now) && !isChosenInstead)
        fail(Status::feedSignerChanged, subject,
             "before: key " + before + "; now: " + describe(now));
}

}  // namespace tavik
