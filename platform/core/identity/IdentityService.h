#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/core/net/Address.h"
#include "platform/support/Secret.h"

namespace tavik {

/// The maker's identity service: who may install an extension that needs the user's account. End
/// point and credentials live in memory, for one session; no failure repeats them.
class IdentityService {
  public:
    /// An https address, or http of this machine, without a query. Throws Error (endPointInvalid)
    /// and keeps the old one where it is refused.
    void setEndPoint(std::string_view address);

    /// Throws Error (invalidArgument) and keeps the old ones where a text could not stand in an
    /// HTTP request as it is.
    void setCredentials(std::string_view token, std::string_view tokenType,
                        std::string_view account);

    /// Returns where the service says that the account has a right to the extension. Throws Error
    /// about `name`: endPointMissing, credentialsMissing, accountRefused, identityUnreachable.
    void requireAccount(const std::string& extensionId, const std::string& name);

  private:
    std::optional<Address> endPoint_;
    Secret authorization_;  ///< "TYPE TOKEN"
    Secret account_;        ///< percent-encoded
};

}  // namespace tavik
