#pragma once

#include <optional>
#include <string>

namespace tavik {

/// The variable's value; nothing where it is unset or empty.
std::optional<std::string> environmentVariable(const char* name);

/// The value of a variable that holds a secret; nothing where it is unset. The variable is gone
/// afterwards, and its place overwritten: programs that this one starts do not get it.
std::optional<std::string> takeVariable(const char* name);

/// `${XDG_DATA_HOME:-$HOME/.local/share}`; nothing where neither gives an absolute path.
std::optional<std::string> userDataHome();

}  // namespace tavik
