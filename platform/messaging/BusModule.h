#pragma once

#include <ZephalMessage4.h>

namespace norva::zephal {

/// The bus module is a file of its own beside this library. It is loaded when a dispatcher is
/// created and a bus is known. The D-Bus client and its dependencies would otherwise slow the start
/// of every program that links this library.
constexpr const char* kBusModuleFile = "libZephalMessage4Bus.so";

/// The module's one entry: a dispatcher on the bus at this D-Bus address, or null. Throws nothing.
constexpr const char* kBusModuleEntry = "zephalConnect";
using BusModuleEntry = api::IZephalMessageDispatcher*(const char* address, const char* appId,
                                                      api::IZephalMessageListener* toAll,
                                                      api::IZephalMessageListener* toThis) noexcept;

}  // namespace norva::zephal
