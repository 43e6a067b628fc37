#pragma once

#include <string>

#include "platform/core/net/Address.h"

namespace tavik {

// Which proxy a request takes. For https: libcurl reads the standard variables: https_proxy, then
// all_proxy, each also in capitals, and no_proxy for the hosts that need none. http: and file: are
// for this machine alone and take no proxy, whatever the variables say.

/// The value of CURLOPT_PROXY for a request to that address: null leaves the choice to the
/// variables, an empty text means no proxy.
const char* proxyFor(const Address& address) noexcept;

/// The text with "***" for the user name and password of each proxy that the variables name:
/// libcurl's messages repeat a proxy's address.
std::string withoutProxyPasswords(std::string text);

}  // namespace tavik
