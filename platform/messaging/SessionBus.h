#pragma once

#include <optional>
#include <string>

namespace norva::zephal {

/// The D-Bus address of the user's session bus: what DBUS_SESSION_BUS_ADDRESS names, else the
/// socket `$XDG_RUNTIME_DIR/bus` where there is one; nothing without either, and if the variable
/// is set but empty. Only unix sockets count: looking up a host name or starting a program takes
/// time that cannot be bounded.
std::optional<std::string> sessionBusAddress();

}  // namespace norva::zephal
