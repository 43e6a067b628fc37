#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/core/trust/Signer.h"

namespace tavik {

/// What is added to a feed's file name for that of its detached signature.
inline constexpr std::string_view kSignatureSuffix = ".sig";

/// Checks who signed a feed. `signature`: the bytes of the file beside it; nothing where there
/// certainly is none. Throws what the judge functions throw, about `address`.
SignerReport verifyFeed(const std::string& address, std::string_view feed,
                        const std::optional<std::string>& signature, const TrustRules& rules);

}  // namespace tavik
