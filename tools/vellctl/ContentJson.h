#pragma once

#include <string>
#include <string_view>

#include "platform/vell/Content.h"

namespace tavik::vellctl {

/// Reads the JSON form. Throws JsonError, which names the place of what it does not take: unknown
/// or missing members, other types, empty names, domains that are no number, a payload that is
/// listed twice or not at all among the payloads.
vell::Content fromJson(std::string_view text);

/// The JSON form, without sections that would be empty.
std::string toJson(const vell::Content& content);

}  // namespace tavik::vellctl
