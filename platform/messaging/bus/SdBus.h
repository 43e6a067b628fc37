#pragma once

#include <systemd/sd-bus.h>

#include <cstdlib>
#include <memory>
#include <system_error>

namespace norva::zephal {

/// The result of an sd-bus call; throws std::system_error where it is negative.
inline int checked(int result) {
    if (result < 0)
        throw std::system_error(-result, std::generic_category());
    return result;
}

/// Releases what sd-bus hands out. A bus is closed without flushing, which could wait for ever.
struct SdBusRelease {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
    void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
    void operator()(char* text) const { std::free(text); }
};

using BusHandle = std::unique_ptr<sd_bus, SdBusRelease>;
using BusMessage = std::unique_ptr<sd_bus_message, SdBusRelease>;
using BusSlot = std::unique_ptr<sd_bus_slot, SdBusRelease>;
using FreedText = std::unique_ptr<char, SdBusRelease>;

}  // namespace norva::zephal
