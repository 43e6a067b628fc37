#include "reporting/MessageHelper.h"

#include <cstring>
#include <memory>

using namespace norva::zephal::api;

namespace sample::zephal::helper {
namespace {

/// A text of `size` bytes, its NUL counted, that `copy` writes; it ends at its first NUL.
template <typename Copy>
std::string readText(unsigned long size, Copy copy) {
    const std::unique_ptr<char[]> buffer(new char[size]);
    copy(buffer.get());
    return {buffer.get(), strnlen(buffer.get(), size)};
}

/// The one text that does not stop at its first NUL.
template <typename Message>
std::string readPayload(const Message& message) {
    const unsigned long size = message.GetPayloadSize();
    if (size < 2)
        return {};
    const std::unique_ptr<char[]> buffer(new char[size]);
    message.GetPayload(buffer.get());
    return {buffer.get(), size - 1};
}

template <typename Fill>
std::vector<EndPoint> readEndPoints(unsigned long count, Fill fill) {
    if (count == 0)
        return {};
    const std::unique_ptr<EndPoint[]> endPoints(new EndPoint[count]);
    fill(endPoints.get());
    return {endPoints.get(), endPoints.get() + count};
}

}  // namespace

std::string MessageHelper::GetType(const ZephalMessage& message) {
    return readText(message.GetTypeSize(), [&](char* buffer) { message.GetType(buffer); });
}

std::string MessageHelper::GetAppId(const ZephalMessage& message) {
    return readText(message.GetAppIdSize(), [&](char* buffer) { message.GetAppId(buffer); });
}

std::string MessageHelper::GetPayload(const HostMessage& message) {
    return readPayload(message);
}

std::string MessageHelper::GetPayload(const SuiteMessage& message) {
    return readPayload(message);
}

std::string MessageHelper::GetResult(const GetAppPathMessage& message) {
    return readText(message.GetResultSize(), [&](char* buffer) { message.GetResult(buffer); });
}

std::string MessageHelper::GetTargetSpecifier(const GetAppPathMessage& message) {
    return readText(message.GetTargetSpecifierSize(),
                    [&](char* buffer) { message.GetTargetSpecifier(buffer); });
}

std::string MessageHelper::GetCmdLine(const LaunchAppMessage& message) {
    return readText(message.GetCmdLineSize(), [&](char* buffer) { message.GetCmdLine(buffer); });
}

std::string MessageHelper::GetTargetSpecifier(const LaunchAppMessage& message) {
    return readText(message.GetTargetSpecifierSize(),
                    [&](char* buffer) { message.GetTargetSpecifier(buffer); });
}

std::string MessageHelper::GetTargetSpecifier(const IsAppRunningMessage& message) {
    return readText(message.GetTargetSpecifierSize(),
                    [&](char* buffer) { message.GetTargetSpecifier(buffer); });
}

std::string MessageHelper::GetTargetSpecifier(const IsAppInstalledMessage& message) {
    return readText(message.GetTargetSpecifierSize(),
                    [&](char* buffer) { message.GetTargetSpecifier(buffer); });
}

std::string MessageHelper::GetError(const ErrorMessage& message) {
    return readText(message.GetErrorSize(), [&](char* buffer) { message.GetError(buffer); });
}

std::string MessageHelper::GetFault(const ErrorMessage& message) {
    return readText(message.GetFaultSize(), [&](char* buffer) { message.GetFault(buffer); });
}

std::string MessageHelper::GetAppId(const EndPoint& endPoint) {
    return readText(endPoint.GetAppIdSize(), [&](char* buffer) { endPoint.GetAppId(buffer); });
}

std::string MessageHelper::GetId(const EndPoint& endPoint) {
    return readText(endPoint.GetIdSize(), [&](char* buffer) { endPoint.GetId(buffer); });
}

std::vector<std::string> MessageHelper::GetResult(const GetTargetSpecifiersMessage& message) {
    std::vector<std::string> results;
    const unsigned long count = message.GetResultCount();
    for (unsigned long i = 0; i < count; ++i)
        results.push_back(readText(message.GetResultSize(i),
                                   [&](char* buffer) { message.GetResult(i, buffer); }));
    return results;
}

std::vector<EndPoint> MessageHelper::GetDestinations(const SuiteMessage& message) {
    const unsigned long allocated = message.GetDestinationCount();
    const std::unique_ptr<EndPoint[]> endPoints(new EndPoint[allocated]);
    message.GetDestinations(endPoints.get());
    std::vector<EndPoint> destinations;
    // Counted anew before each one, in case the message loses some; never past the array, in case
    // it gains some.
    for (unsigned long i = 0; i < message.GetDestinationCount() && i < allocated; ++i)
        destinations.push_back(endPoints[i]);
    return destinations;
}

std::vector<EndPoint> MessageHelper::GetEndPoints(const IZephalMessageDispatcher* dispatcher) {
    return readEndPoints(dispatcher->GetEndPointCount(),
                         [&](EndPoint* endPoints) { dispatcher->GetEndPoints(endPoints); });
}

std::vector<EndPoint> MessageHelper::GetEndPointsByAppId(const IZephalMessageDispatcher* dispatcher,
                                                         const std::string& appId) {
    return readEndPoints(
        dispatcher->GetEndPointCountByAppId(appId.c_str()),
        [&](EndPoint* endPoints) { dispatcher->GetEndPointsByAppId(appId.c_str(), endPoints); });
}

std::vector<EndPoint> MessageHelper::GetEndPointsBySpecifier(
    const IZephalMessageDispatcher* dispatcher, const std::string& specifier) {
    return readEndPoints(dispatcher->GetEndPointCountBySpecifier(specifier.c_str()),
                         [&](EndPoint* endPoints) {
                             dispatcher->GetEndPointsBySpecifier(specifier.c_str(), endPoints);
                         });
}

}  // namespace sample::zephal::helper
