#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tools/tavik/Run.h"

namespace tavik::front {

/// One line of a page about this machine: what it is about, where it is, and what is wrong with it.
struct Finding {
    std::string name;
    std::string place;  ///< empty: there is none
    std::string facts;  ///< for people
    std::vector<std::string> problems;
    /// Members of its JSON object besides these; an empty text is null.
    std::vector<std::pair<const char*, std::string>> members{};
};

/// A part of the page. What cannot be looked at is a problem of its finding.
struct Section {
    const char* name;
    std::vector<Finding> (*find)(Run&);
};

/// In the order of the page.
extern const Section kSections[7];

}  // namespace tavik::front
