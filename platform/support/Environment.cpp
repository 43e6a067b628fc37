#include "platform/support/Environment.h"

#include <string.h>

#include <cstdlib>

namespace tavik {

std::optional<std::string> environmentVariable(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0')
        return std::nullopt;
    return value;
}

std::optional<std::string> takeVariable(const char* name) {
    char* value = std::getenv(name);
    if (value == nullptr)
        return std::nullopt;
    std::string text = value;
    explicit_bzero(value, text.size());
    ::unsetenv(name);
    return text;
}

std::optional<std::string> userDataHome() {
    // The XDG base directory rules: a relative path counts as unset.
    if (auto dataHome = environmentVariable("XDG_DATA_HOME"); dataHome && dataHome->front() == '/')
        return dataHome;
    if (auto home = environmentVariable("HOME"); home && home->front() == '/')
        return *home + "/.local/share";
    return std::nullopt;
}

}  // namespace tavik
