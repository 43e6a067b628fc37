#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "platform/core/net/Online.h"
#include "platform/core/status/Status.h"

namespace tavik {
namespace {

constexpr const char* kModule = "libTavikCoreOnline.so";

std::string loaderText() {
    const char* text = ::dlerror();
    return text == nullptr ? "unknown cause" : text;
}

/// The file that holds this code: the core library, or a program that has it built in.
std::string ownFile() {
    Dl_info info{};
    void* entry = nullptr;
    if (::dladdr1(reinterpret_cast<const void*>(&loaderText), &info, &entry, RTLD_DL_LINKMAP) == 0)
        fail(Status::updatesUnavailable, kModule, "cannot tell where this program is");
    // The main program has an empty name there. argv[0] is not used, because the caller chooses it.
    const std::string name = static_cast<const link_map*>(entry)->l_name;
    return name.empty() ? "/proc/self/exe" : name;
}

/// The module beside that file or, for programs, where an installed tree or a build keeps it. The
/// full path keeps the loader from finding another build's module.
std::string findModule() {
    // A library can be found through a link that stands elsewhere.
    std::error_code fault;
    const std::string folder = std::filesystem::canonical(ownFile(), fault).parent_path();
    if (fault)
        failErrno(fault.value(), kModule, "look for it");
    for (const char* place : {"/", "/../lib/tavik/"}) {
        std::string module = folder + place + kModule;
        if (::access(module.c_str(), F_OK) == 0)
            return module;
    }
    return folder + "/../lib/" + kModule;
}

Online& load() {
    // RTLD_LAZY: most functions of the module's libraries are never called. RTLD_NODELETE: a name
    // look-up that was given up may still run on its own thread.
    void* module = ::dlopen(findModule().c_str(), RTLD_LAZY | RTLD_LOCAL | RTLD_NODELETE);
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
