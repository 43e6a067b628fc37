#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/core/policy/Policy.h"

namespace tavik {

/// What one policy.json says; members that it does not have are not set.
struct PolicyFile {
    bool requireSignature = false;
    std::map<std::string, std::uint64_t> limits;  ///< by the name of the member
    std::optional<Policy::IdList> allow;
    Policy::IdList deny;
    std::optional<std::vector<AddressPrefix>> feeds;
    std::vector<Redirect> redirects;
};

inline constexpr std::size_t kMaxPolicyBytes = std::size_t{64} << 10;

/// Throws JsonError for anything that it does not know: a misspelt rule would silently allow what
/// it should forbid.
PolicyFile parsePolicyFile(std::string_view json);

/// One policy of several files: the stricter counts where several say something.
Policy combine(const std::vector<PolicyFile>& files);

}  // namespace tavik
