#include "platform/core/disk/Stamp.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <ctime>

#include "platform/core/status/Status.h"

namespace tavik {

std::string newToken() {
    std::array<unsigned char, 8> random{};
    if (::getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size()))
        failErrno(errno, "token", "get random bytes");
    std::string token;
    for (const unsigned byte : random) {
        constexpr const char* kDigits = "0123456789abcdef";
        token += kDigits[byte >> 4U];
        token += kDigits[byte & 15U];
    }
    return token;
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
