#pragma once

#include <string>
#include <vector>

namespace tavik::front {

/// The word in the place of a verb that asks for candidates; for the shells' completion alone, so
/// no help names it.
inline constexpr const char* kCandidatesWord = "complete";

/// What a shell offers for a word of the command line: one line for each, a name, a tab and what
/// tells it apart. `arguments` are `products`, or a state (installed, enabled, disabled) and the
/// store that counts (user, allUsers, both). Behind `--` stands what is typed already: only names
/// that begin like it are offered then, or, where there are none, ids.
///
/// An extension whose name another one has too is offered by its id. Nobody reads an explanation in
/// the middle of typing: what cannot be read has no candidates.
std::string candidates(std::vector<std::string> arguments);

}  // namespace tavik::front
