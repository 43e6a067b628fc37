#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tavik {

/// What people call an extension by.
struct NamedExtension {
    std::string id;
    std::string name;
};

/// Finds the extension that `text` names, and gives its position in `extensions`. These are tried
/// in turn, and the first that any extension meets decides: the same id; the same name; the same id
/// without regard to letter case; the same name without regard to letter case and accents. Entries
/// with one id, one in each store, are one extension: the first of them is given.
///
/// Throws Error about `text`: extensionNotFound, with the three nearest names and ids at the most,
/// or ambiguousName with the ids of all that match.
std::size_t findByName(const std::vector<NamedExtension>& extensions, const std::string& text);

/// The three nearest names and ids at the most, as a text: `nearest: "a", "b"`. Empty where none is
/// near.
std::string suggestionsFor(const std::vector<NamedExtension>& extensions, const std::string& text);

/// The text without differences of letter case and of accents, for comparing only.
std::string foldName(std::string_view text);

}  // namespace tavik
