#include "platform/core/disk/Stamp.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <ctime>

#include "platform/core/status/Status.h"
#include "platform/support/Hex.h"
#include "platform/support/UtcTime.h"

namespace tavik {

std::string newToken() {
    std::array<char, 8> random{};
    if (::getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size()))
        failErrno(errno, "token", "get random bytes");
    return toHex({random.data(), random.size()});
}

std::string timeNow() {
    return formatUtcTime(std::time(nullptr));
}

}  // namespace tavik
