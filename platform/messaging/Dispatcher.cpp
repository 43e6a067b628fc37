#include <ZephalMessage4.h>
#include <dlfcn.h>

#include <string>

#include "platform/messaging/BusModule.h"
#include "platform/messaging/SessionBus.h"

namespace norva::zephal::api {
namespace {

/// The bus module's entry; null where the module cannot be loaded. It stays loaded.
BusModuleEntry* loadBusModule() {
    // The module is in the same folder as this library.
    Dl_info self{};
    if (dladdr(SuiteMessage::TYPE_PREFIX, &self) == 0 || self.dli_fname == nullptr)
        return nullptr;
    const std::string path = self.dli_fname;
    const std::string module = path.substr(0, path.rfind('/') + 1) + kBusModuleFile;
    void* handle = dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr)
        return nullptr;
    return reinterpret_cast<BusModuleEntry*>(dlsym(handle, kBusModuleEntry));
}

}  // namespace

IZephalMessageDispatcher* IZephalMessageDispatcher::Create(const char* appId,
                                                           IZephalMessageListener* listener,
                                                           IZephalMessageListener* listener2) {
    const auto address = sessionBusAddress();
    if (!address)
        return nullptr;
    static BusModuleEntry* const connect = loadBusModule();
    if (connect == nullptr)
        return nullptr;
    return connect(address->c_str(), appId == nullptr ? "" : appId, listener, listener2);
}

}  // namespace norva::zephal::api
