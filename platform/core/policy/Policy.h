#pragma once

#include <string>
#include <vector>

#include "platform/core/net/AddressPrefix.h"
#include "platform/core/package/PackageLimits.h"

namespace tavik {

/// What an administrator decides for all users of the machine.
struct Policy {
    bool requireSignature = false;  ///< of packages and of feeds, by a trusted key
    PackageLimits limits;

    /// Ids, or beginnings of ids with a `*` behind them, in lower case. An extension must be named
    /// by each of the lists `allow`, and not by `deny`.
    using IdList = std::vector<std::string>;
    std::vector<IdList> allow;
    IdList deny;

    /// Where feeds may be asked for: each of the lists must cover a feed's address.
    std::vector<std::vector<AddressPrefix>> feeds;
    std::vector<Redirect> redirects;  ///< the first that covers an address counts

    bool allowsExtension(const std::string& idKey) const;
    bool allowsFeed(const Address& address) const;

    /// Where a feed or a package that has this address is to be fetched. Throws AddressError where
    /// a redirect leads nowhere.
    Address route(const Address& address) const;
};

/// Throws Error (policyForbids) about `subject` where the extension may not be installed.
void requireAllowedExtension(const Policy& policy, const std::string& idKey,
                             const std::string& subject);

/// Reads `policy.json` in each of the folders, as far as there is one. Where several say something,
/// the stricter counts; where none does, the default. Of redirects, those of the first folder go
/// before the others. Throws Error: policyInvalid naming the file and the place in it, also for a
/// member that this core does not know; storeUnsafe where others than root and the current user
/// could have written it; or by the system's error. A policy that cannot be read allows nothing.
Policy loadPolicy(const std::vector<std::string>& folders);

}  // namespace tavik
