#include "platform/core/session/NameSearch.h"

#include <utf8proc.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <memory>
#include <set>
#include <utility>

#include "platform/core/package/Manifest.h"
#include "platform/core/status/Status.h"

namespace tavik {
namespace {

constexpr std::size_t kMostSuggestions = 3;
constexpr std::size_t kLongestCompared = 256;

using Test = std::function<bool(const NamedExtension&)>;

/// The extensions that pass, one position for each id.
std::vector<std::size_t> matching(const std::vector<NamedExtension>& extensions, const Test& test) {
    std::vector<std::size_t> found;
    std::set<std::string> ids;
    for (std::size_t i = 0; i < extensions.size(); ++i)
        if (test(extensions[i]) && ids.insert(toIdKey(extensions[i].id)).second)
            found.push_back(i);
    return found;
}

/// The Levenshtein distance: how many letters must be inserted, deleted or replaced to turn one
/// text into the other.
std::size_t distance(std::string_view a, std::string_view b) {
    a = a.substr(0, kLongestCompared);
    b = b.substr(0, kLongestCompared);
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j < row.size(); ++j)
        row[j] = j;
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row[b.size()];
}

/// The distance of the text from an id or name. A text that is a part of it is near.
std::size_t distanceTo(const std::string& known, const std::string& text) {
    if (text.size() >= 3 && known.find(text) != std::string::npos)
        return 1;
    return distance(known, text);
}

std::string idsOf(const std::vector<NamedExtension>& extensions,
                  const std::vector<std::size_t>& positions) {
    std::set<std::string> ids;
    for (const std::size_t position : positions)
        ids.insert(extensions[position].id);
    std::string text;
    for (const auto& id : ids)
        text += (text.empty() ? "" : ", ") + id;
    return text;
}

}  // namespace

std::string suggestionsFor(const std::vector<NamedExtension>& extensions, const std::string& text) {
    const std::string folded = foldName(text);
    std::set<std::pair<std::size_t, std::string>> byDistance;
    for (const auto& extension : extensions) {
        const std::size_t ofName = distanceTo(foldName(extension.name), folded);
        const std::size_t ofId = distanceTo(foldName(extension.id), folded);
        byDistance.emplace(std::min(ofName, ofId), ofId < ofName ? extension.id : extension.name);
    }
    std::string suggestions;
    std::size_t count = 0;
    for (const auto& [far, known] : byDistance) {
        // A suggestion that shares only a letter or two with the text does not help.
        if (count == kMostSuggestions || far > std::max<std::size_t>(2, folded.size() / 2))
            break;
        suggestions += (count++ == 0 ? "nearest: \"" : ", \"") + known + "\"";
    }
    return suggestions;
}

std::string foldName(std::string_view text) {
    utf8proc_uint8_t* mapped = nullptr;
    const utf8proc_ssize_t size =
        utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                     static_cast<utf8proc_ssize_t>(text.size()), &mapped,
                     static_cast<utf8proc_option_t>(UTF8PROC_DECOMPOSE | UTF8PROC_COMPAT |
                                                    UTF8PROC_CASEFOLD | UTF8PROC_STRIPMARK));
    const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(mapped, &std::free);
    // A text that is not UTF-8 is compared byte by byte.
    if (size < 0)
        return std::string(text);
    return {reinterpret_cast<const char*>(mapped), static_cast<std::size_t>(size)};
}

std::size_t findByName(const std::vector<NamedExtension>& extensions, const std::string& text) {
    const std::string key = toIdKey(text);
    const std::string folded = foldName(text);
    const Test tests[] = {
        [&](const NamedExtension& each) { return each.id == text; },
        [&](const NamedExtension& each) { return each.name == text; },
        [&](const NamedExtension& each) { return toIdKey(each.id) == key; },
        [&](const NamedExtension& each) { return foldName(each.name) == folded; },
    };
    for (const Test& test : tests) {
        const auto found = matching(extensions, test);
        if (found.size() > 1)
            fail(Status::ambiguousName, text, idsOf(extensions, found));
        if (!found.empty())
            return found.front();
    }
    fail(Status::extensionNotFound, text, suggestionsFor(extensions, text));
}

}  // namespace tavik
