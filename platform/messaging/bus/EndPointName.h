#pragma once

#include <optional>
#include <string>

namespace norva::zephal {

/// Who an endpoint is: the application id, and the unique name of its connection to the bus.
struct EndPointIdentity {
    std::string appId;
    std::string id;
};

/// The bus name under which the endpoint is seen, e.g. "com.norva.Zephal4.Norva_2eTavik._3a1_2e42".
/// Throws std::system_error where the name would be longer than a bus name may be.
std::string endPointName(const EndPointIdentity& endPoint);

/// The endpoint of a bus name; nothing where the name is of another kind.
std::optional<EndPointIdentity> endPointOf(const std::string& busName);

/// Whether an application id is the specifier, or goes on from it with an instance ("_"), a version
/// or locale ("-") or a suffix ("#"). ASCII letters match in either case.
bool matchesSpecifier(const std::string& appId, const std::string& specifier);

}  // namespace norva::zephal
