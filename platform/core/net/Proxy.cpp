#include "platform/core/net/Proxy.h"

#include "platform/support/Environment.h"

namespace tavik {

const char* proxyFor(const Address& address) noexcept {
    return address.scheme() == Address::Scheme::https ? nullptr : "";
}

std::string withoutProxyPasswords(std::string text) {
    for (const char* name : {"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
        const std::string proxy = environmentVariable(name).value_or("");
        const std::size_t scheme = proxy.find("://");
        const std::size_t start = scheme == std::string::npos ? 0 : scheme + 3;
        const std::size_t end = proxy.rfind('@');
        if (end == std::string::npos || end <= start)
            continue;
        const std::string account = proxy.substr(start, end - start);
        for (std::size_t at = 0; (at = text.find(account, at)) != std::string::npos; at += 3)
            text.replace(at, account.size(), "***");
    }
    return text;
}

}  // namespace tavik
