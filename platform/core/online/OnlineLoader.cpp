#include <dlfcn.h>

#include "platform/core/online/Online.h"
#include "platform/core/texts/Status.h"

namespace tavik {
namespace {

constexpr const char* kModule = "libTavikCoreOnline.so";

std::string loaderText() {
    const char* text = ::dlerror();
    return text == nullptr ? "unknown cause" : text;
}

Online& load() {
    // Found through our run path, beside the core. It stays: a name look-up that was given up may
    // still be under way on a thread of its own.
    void* module = ::dlopen(kModule, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (module == nullptr)
        fail(Status::updatesUnavailable, kModule, loaderText());
    auto* factory = reinterpret_cast<OnlineFactory*>(::dlsym(module, kOnlineFactoryName));
    if (factory == nullptr)
        fail(Status::updatesUnavailable, kModule, loaderText());
    Online* online = factory(kOnlineInterface);
    if (online == nullptr)
        fail(Status::updatesUnavailable, kModule, "belongs to another version of the core");
    return *online;
}

}  // namespace

Online& loadOnline() {
    static Online& online = load();
    return online;
}

}  // namespace tavik
