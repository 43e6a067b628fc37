#pragma once

#include <ZephalMessage4.h>

#include <string>
#include <vector>

namespace sample::zephal::helper {

/// Reads the messaging library's messages and endpoints into strings and vectors. The library's
/// sizes and counts are taken as they are; what it or the allocation throws passes through.
///
/// A text ends at its first NUL, except a payload, which keeps the NULs within it.
class MessageHelper {
  public:
    static std::string GetType(const norva::zephal::api::ZephalMessage& message);
    static std::string GetAppId(const norva::zephal::api::ZephalMessage& message);

    static std::string GetPayload(const norva::zephal::api::HostMessage& message);
    static std::string GetPayload(const norva::zephal::api::SuiteMessage& message);

    static std::string GetResult(const norva::zephal::api::GetAppPathMessage& message);
    static std::string GetTargetSpecifier(const norva::zephal::api::GetAppPathMessage& message);
    static std::string GetCmdLine(const norva::zephal::api::LaunchAppMessage& message);
    static std::string GetTargetSpecifier(const norva::zephal::api::LaunchAppMessage& message);
    static std::string GetTargetSpecifier(const norva::zephal::api::IsAppRunningMessage& message);
    static std::string GetTargetSpecifier(const norva::zephal::api::IsAppInstalledMessage& message);
    static std::string GetError(const norva::zephal::api::ErrorMessage& message);
    static std::string GetFault(const norva::zephal::api::ErrorMessage& message);

    static std::string GetAppId(const norva::zephal::api::EndPoint& endPoint);
    static std::string GetId(const norva::zephal::api::EndPoint& endPoint);

    /// In the order of their indexes.
    static std::vector<std::string> GetResult(
        const norva::zephal::api::GetTargetSpecifiersMessage& message);

    /// Always asks the message to fill, for no destinations too. A message that loses destinations
    /// meanwhile yields those that it still counts.
    static std::vector<norva::zephal::api::EndPoint> GetDestinations(
        const norva::zephal::api::SuiteMessage& message);

    /// In the library's order.
    static std::vector<norva::zephal::api::EndPoint> GetEndPoints(
        const norva::zephal::api::IZephalMessageDispatcher* dispatcher);
    static std::vector<norva::zephal::api::EndPoint> GetEndPointsByAppId(
        const norva::zephal::api::IZephalMessageDispatcher* dispatcher, const std::string& appId);
    static std::vector<norva::zephal::api::EndPoint> GetEndPointsBySpecifier(
        const norva::zephal::api::IZephalMessageDispatcher* dispatcher,
        const std::string& specifier);
};

}  // namespace sample::zephal::helper
