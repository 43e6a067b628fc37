#include <ZephalMessage4.h>

#include <algorithm>

#include "platform/messaging/TwoCallText.h"

namespace norva::zephal::api {
namespace {

std::string textOrEmpty(const char* text) {
    return text == nullptr ? "" : text;
}

}  // namespace

EndPoint::EndPoint(const char* appId, const char* id)
    : appId_(textOrEmpty(appId)), id_(textOrEmpty(id)) {}

unsigned long EndPoint::GetAppIdSize() const {
    return textSize(appId_);
}

void EndPoint::GetAppId(char* buffer) const {
    copyText(appId_, buffer);
}

unsigned long EndPoint::GetIdSize() const {
    return textSize(id_);
}

void EndPoint::GetId(char* buffer) const {
    copyText(id_, buffer);
}

// A constant, so that it is there for other files' static initialisation.
const char* const SuiteMessage::TYPE_PREFIX = "zephal.suite.";

SuiteMessage::SuiteMessage(const char* type) : type_(textOrEmpty(type)) {}

SuiteMessage::~SuiteMessage() = default;

unsigned long SuiteMessage::GetTypeSize() const {
    return textSize(type_);
}

void SuiteMessage::GetType(char* buffer) const {
    copyText(type_, buffer);
}

unsigned long SuiteMessage::GetAppIdSize() const {
    return textSize("");
}

void SuiteMessage::GetAppId(char* buffer) const {
    copyText("", buffer);
}

unsigned long SuiteMessage::GetPayloadSize() const {
    return payload_.empty() ? 0 : textSize(payload_);
}

void SuiteMessage::GetPayload(char* buffer) const {
    if (!payload_.empty())
        copyText(payload_, buffer);
}

unsigned long SuiteMessage::GetDestinationCount() const {
    return destinations_.size();
}

void SuiteMessage::GetDestinations(EndPoint* endPoints) const {
    std::copy(destinations_.begin(), destinations_.end(), endPoints);
}

void SuiteMessage::SetPayload(const char* text) {
    payload_ = textOrEmpty(text);
}

void SuiteMessage::AddDestination(const EndPoint& endPoint) {
    destinations_.push_back(endPoint);
}

}  // namespace norva::zephal::api
