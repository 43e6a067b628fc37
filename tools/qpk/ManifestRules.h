#pragma once

#include <string_view>

#include "platform/core/package/Fault.h"
#include "platform/support/Json.h"

namespace tavik::qpk {

/// Reports what the core lets pass in a manifest although its author would not want it. A text that
/// the core refuses as a whole is left to the core.
void checkManifestRules(std::string_view bytes, const JsonLimits& limits, const FaultSink& report);

/// Whether a page for people can have it as a link: it begins with https:// or http://.
bool isWebAddress(std::string_view text) noexcept;

}  // namespace tavik::qpk
