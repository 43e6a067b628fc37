#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace tavik::qpk {

/// A place in a text as editors count it: from 1, columns in characters.
struct TextPosition {
    std::size_t line = 1;
    std::size_t column = 1;
};

/// The place of a byte in a text in UTF-8.
TextPosition positionOf(std::string_view text, std::size_t offset);

/// Where the members of a manifest stand in its text.
class ManifestPlaces {
  public:
    /// Any bytes: of those that are no JSON, every place is where that shows.
    explicit ManifestPlaces(std::string_view text);

    /// Of a member such as "products[0].name", its key's place; of an entry, the value's. Of one
    /// that is not there, the place of what it is missing in.
    TextPosition of(std::string member) const;

  private:
    std::string_view text_;
    std::map<std::string, std::size_t> offsets_;  ///< the whole has the name ""
};

}  // namespace tavik::qpk
