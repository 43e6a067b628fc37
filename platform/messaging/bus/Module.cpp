#include <exception>

#include "platform/messaging/BusModule.h"
#include "platform/messaging/bus/BusDispatcher.h"

extern "C" ZEPHAL_API norva::zephal::api::IZephalMessageDispatcher* zephalConnect(
    const char* address, const char* appId, norva::zephal::api::IZephalMessageListener* toAll,
    norva::zephal::api::IZephalMessageListener* toThis) noexcept {
    try {
        return std::make_unique<norva::zephal::BusDispatcher>(address, appId, toAll, toThis)
            .release();
    } catch (const std::exception&) {
        return nullptr;
    }
}
