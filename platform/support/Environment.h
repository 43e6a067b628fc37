#pragma once

#include <optional>
#include <string>

namespace tavik {

/// The variable's value; nothing where it is unset or empty.
std::optional<std::string> environmentVariable(const char* name);

/// `${XDG_DATA_HOME:-$HOME/.local/share}`; nothing where neither gives an absolute path.
std::optional<std::string> userDataHome();

}  // namespace tavik
