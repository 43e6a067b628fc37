#include "platform/core/disk/StoreLocation.h"

#include <filesystem>

#include "platform/core/status/Status.h"
#include "platform/support/Environment.h"

namespace tavik {
namespace {

std::optional<std::string> absolutePathVariable(const char* name) {
    auto path = environmentVariable(name);
    if (path && path->front() != '/')
        fail(Status::noHome, std::string(name) + "=" + *path, "not an absolute path");
    if (path)
        *path = std::filesystem::path(*path + "/").lexically_normal().parent_path();
    return path;
}

}  // namespace

std::optional<StoreLocation> userStore(const std::string& family) {
    if (auto root = absolutePathVariable("TAVIK_HOME"))
        return StoreLocation{Scope::user, *root, family, "TAVIK_HOME"};
    if (auto dataHome = userDataHome()) {
        const bool isNamed = dataHome == environmentVariable("XDG_DATA_HOME");
        return StoreLocation{Scope::user, *dataHome + "/tavik", family,
                             isNamed ? "XDG_DATA_HOME" : "HOME"};
    }
    return std::nullopt;
}

StoreLocation sharedStore(const std::string& family) {
    if (auto root = absolutePathVariable("TAVIK_SHARED_HOME"))
        return {Scope::shared, *root, family, "TAVIK_SHARED_HOME"};
    return {Scope::shared, "/var/lib/tavik", family};
}

}  // namespace tavik
