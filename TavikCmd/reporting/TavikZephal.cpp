#include "reporting/TavikZephal.h"

#include <sstream>

using norva::zephal::api::IZephalMessageDispatcher;
using norva::zephal::api::SuiteMessage;
using norva::zephal::api::ZephalMessage;

namespace NORVA_TAVIK {
namespace {

constexpr const char* kApplicationId = "Norva.Tavik";

const std::string TAVIK_MESSAGE_TYPE =
    std::string(SuiteMessage::TYPE_PREFIX) + "com.norva.tavik.TavikToBrixa";

}  // namespace

void CTavikZephalMessageListener::Receive(ZephalMessage& /*message*/) {}

CTavikZephal& CTavikZephal::getInstance() {
    static CTavikZephal instance;
    return instance;
}

CTavikZephal::CTavikZephal() : listener(std::make_unique<CTavikZephalMessageListener>()) {
    dispatcher.reset(
        IZephalMessageDispatcher::Create(kApplicationId, listener.get(), listener.get()));
}

CTavikZephal::~CTavikZephal() {
    // Before the listener, which it may call until its end.
    dispatcher.reset();
}

// The texts come by value, which is the interface.
// NOLINTBEGIN(performance-unnecessary-value-param)
void CTavikZephal::sendZephalMessageToBrixa(int returnCode, std::string returnMsg,
                                            std::string operation, std::string bundleId,
                                            std::string version) const {
    if (!dispatcher)
        return;
    std::ostringstream code;
    code << returnCode;
    const std::string payload = "{\"ReturnCode\":" + code.str() +    //
                                ",\"ReturnMsg\":\"" + returnMsg +    //
                                "\",\"Operation\":\"" + operation +  //
                                "\",\"BundleId\":\"" + bundleId +    //
                                "\",\"Version\":\"" + version + "\"}";
    // Without a destination: hubs know the message by its type.
    SuiteMessage message(TAVIK_MESSAGE_TYPE.c_str());
    message.SetPayload(payload.c_str());
    dispatcher->Send(message);
}
// NOLINTEND(performance-unnecessary-value-param)

}  // namespace NORVA_TAVIK
