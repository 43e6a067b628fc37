#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tavik {

/// An extension as far as people can tell it.
struct NamedExtension {
    std::string id;
    std::string name;
};

/// Which of `extensions` is meant by `text`, as a position in it. The first of these that any of
/// them meets decides: the very id; the very name; the id in other letter case; the name but for
/// letter case and accents. Several entries of one id, one in each store, are one extension, told
/// by the first of them.
///
/// Throws Error about `text`: extensionNotFound, with up to three names and ids that are nearest to
/// it, or ambiguousName with the ids of all that are meant.
std::size_t findByName(const std::vector<NamedExtension>& extensions, const std::string& text);

/// The text without differences of letter case and of accents, for comparing only.
std::string foldName(std::string_view text);

}  // namespace tavik
