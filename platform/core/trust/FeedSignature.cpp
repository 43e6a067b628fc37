#include "platform/core/trust/FeedSignature.h"

namespace tavik {

SignerReport verifyFeed(const std::string& address, std::string_view feed,
                        const std::optional<std::string>& signature, const TrustRules& rules) {
    if (!signature)
        return judgeUnsigned(address, rules);
    return judgeSigned(address, "the .sig file", feed, *signature, rules);
}

}  // namespace tavik
