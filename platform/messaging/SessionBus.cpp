#include "platform/messaging/SessionBus.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "platform/support/Environment.h"
#include "platform/support/Hex.h"

namespace norva::zephal {
namespace {

constexpr std::string_view kUnixTransport = "unix:";

/// Of a list of addresses, separated by ";", those of unix sockets.
std::optional<std::string> unixAddresses(std::string_view list) {
    std::string kept;
    while (!list.empty()) {
        const std::string_view address = list.substr(0, list.find(';'));
        if (address.substr(0, kUnixTransport.size()) == kUnixTransport)
            kept.append(kept.empty() ? "" : ";").append(address);
        list.remove_prefix(std::min(list.size(), address.size() + 1));
    }
    return kept.empty() ? std::nullopt : std::optional(kept);
}

/// A value as D-Bus addresses write it: every byte outside their plain set of characters as %XX.
std::string escapedValue(std::string_view value) {
    constexpr std::string_view kPlain =
        "-_/.*0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    std::string escaped;
    for (const char c : value) {
        if (kPlain.find(c) != std::string_view::npos)
            escaped += c;
        else
            escaped += '%' + tavik::toHex({&c, 1});
    }
    return escaped;
}

}  // namespace

std::optional<std::string> sessionBusAddress() {
    if (const char* list = std::getenv("DBUS_SESSION_BUS_ADDRESS"))
        return unixAddresses(list);
    const auto folder = tavik::environmentVariable("XDG_RUNTIME_DIR");
    if (!folder)
        return std::nullopt;
    const std::string path = *folder + "/bus";
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode))
        return std::nullopt;
    return std::string(kUnixTransport) + "path=" + escapedValue(path);
}

}  // namespace norva::zephal
