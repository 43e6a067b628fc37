#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "platform/core/status/Status.h"

namespace tavik {

/// One thing that is wrong with a package.
struct Fault {
    Status status;
    std::string place;  ///< `entry "a/b.txt"`, `extension.json`, or empty for the container
    std::string text;   ///< the rule that is broken, in a few words: one line, printable
    /// Of a manifest: the member that the fault is about, "products[0].name", also where it is
    /// missing. Empty where the fault is about the whole.
    std::string member = {};
};

/// Takes the faults that the rules find. An install throws on the first; a check for authors
/// collects, and the rules go on as far as they can.
using FaultSink = std::function<void(const Fault&)>;

/// The sink that throws an Error about `subject` on the first fault.
FaultSink throwOnFault(std::string subject);

/// Thrown after a fault that makes further checks meaningless, if the sink did not throw itself.
struct CheckStopped {};

/// Reports a fault that makes further checks meaningless, and throws.
[[noreturn]] void stopAt(const FaultSink& report, const Fault& fault);

}  // namespace tavik
