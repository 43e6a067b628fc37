#pragma once

#include <string>
#include <string_view>

#include "platform/vell/Content.h"

namespace tavik::vellctl {

/// Reads the JSON form. Throws JsonError, which names the place of what it refuses: unknown or
/// missing members, wrong types, empty names, texts over the limits, domains that are no number, a
/// listed payload that is not among the payloads or is listed twice.
vell::Content fromJson(std::string_view text);

/// Writes the JSON form, with a line end. Empty sections are left out.
std::string toJson(const vell::Content& content);

}  // namespace tavik::vellctl
