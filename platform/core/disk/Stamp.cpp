#include "platform/core/disk/Stamp.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <ctime>

#include "platform/core/status/Status.h"
#include "platform/support/Hex.h"

namespace tavik {

std::string newToken() {
    std::array<char, 8> random{};
    if (::getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size()))
        failErrno(errno, "token", "get random bytes");
    return toHex({random.data(), random.size()});
}

std::string timeNow() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    ::gmtime_r(&now, &parts);
    std::array<char, 32> text{};
    const std::size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return {text.data(), size};
}

}  // namespace tavik
