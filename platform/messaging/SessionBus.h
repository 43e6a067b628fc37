#pragma once

#include <optional>
#include <string>

namespace norva::zephal {

/// The D-Bus address of the user's session bus: what DBUS_SESSION_BUS_ADDRESS names, else the
/// socket `$XDG_RUNTIME_DIR/bus` where there is one; nothing without either, and where the variable
/// is set to nothing. Only unix sockets count: to look up a host name or to start a program cannot
/// be bounded in time.
std::optional<std::string> sessionBusAddress();

}  // namespace norva::zephal
