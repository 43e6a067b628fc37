#include "platform/messaging/bus/EndPointName.h"

#include <strings.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <string_view>

#include "platform/messaging/bus/SdBus.h"

namespace norva::zephal {
namespace {

// The two elements are escaped as labels of object paths are, which the client library does: every
// byte other than an ASCII letter or digit becomes _XX. Such labels are good for bus names too.
constexpr const char* kPathTemplate = "/com/norva/Zephal4/%/%";
constexpr std::string_view kNamePrefix = "com.norva.Zephal4.";

}  // namespace

std::string endPointName(const EndPointIdentity& endPoint) {
    char* path = nullptr;
    checked(
        sd_bus_path_encode_many(&path, kPathTemplate, endPoint.appId.c_str(), endPoint.id.c_str()));
    std::string name = FreedText(path).get() + 1;
    std::replace(name.begin(), name.end(), '/', '.');
    return name;
}

std::optional<EndPointIdentity> endPointOf(const std::string& busName) {
    if (busName.compare(0, kNamePrefix.size(), kNamePrefix) != 0)
        return std::nullopt;
    std::string path = "/" + busName;
    std::replace(path.begin(), path.end(), '.', '/');
    char* appId = nullptr;
    char* id = nullptr;
    if (sd_bus_path_decode_many(path.c_str(), kPathTemplate, &appId, &id) <= 0)
        return std::nullopt;
    const FreedText ownedAppId(appId);
    const FreedText ownedId(id);
    return EndPointIdentity{appId, id};
}

bool matchesSpecifier(const std::string& appId, const std::string& specifier) {
    if (specifier.empty() || strncasecmp(appId.c_str(), specifier.c_str(), specifier.size()) != 0)
        return false;
    return appId.size() == specifier.size() ||
           std::string_view("_-#").find(appId[specifier.size()]) != std::string_view::npos;
}

}  // namespace norva::zephal
