#pragma once

#include <ZephalMessage4.h>

#include <utility>

#include "platform/messaging/TwoCallText.h"
#include "platform/messaging/bus/Connection.h"

namespace norva::zephal {

/// A message as its listener sees it: with its sender, and a payload of any bytes.
class ReceivedMessage final : public api::SuiteMessage {
  public:
    explicit ReceivedMessage(Envelope envelope)
        : SuiteMessage(envelope.type.c_str()), envelope_(std::move(envelope)) {}

    unsigned long GetAppIdSize() const override { return textSize(envelope_.appId); }
    void GetAppId(char* buffer) const override { copyText(envelope_.appId, buffer); }

    unsigned long GetPayloadSize() const override {
        return envelope_.payload.empty() ? 0 : textSize(envelope_.payload);
    }
    void GetPayload(char* buffer) const override {
        if (!envelope_.payload.empty())
            copyText(envelope_.payload, buffer);
    }

  private:
    Envelope envelope_;
};

}  // namespace norva::zephal
