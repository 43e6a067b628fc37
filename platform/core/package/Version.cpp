#include "platform/core/package/Version.h"

#include <algorithm>

#include "platform/support/Text.h"

namespace tavik {
namespace {

constexpr int kMaxNumbers = 4;

bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

bool isTagCharacter(char c) noexcept {
    return isAlphanumeric(c) || c == '.' || c == '-' || c == '_';
}

/// The digits that `text` begins with, without leading zeros, taken off it.
std::string_view takeNumber(std::string_view& text) noexcept {
    const auto end = std::find_if_not(text.begin(), text.end(), isDigit);
    std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    return digits;
}

/// Compares digits without leading zeros: the longer text is the greater number. There is no size
/// limit.
int compareNumbers(std::string_view a, std::string_view b) noexcept {
    if (a.size() != b.size())
        return a.size() < b.size() ? -1 : 1;
    return a.compare(b);
}

int compareReleases(std::string_view a, std::string_view b) noexcept {
    for (int i = 0; i < kMaxNumbers; ++i) {
        if (const int order = compareNumbers(takeNumber(a), takeNumber(b)); order != 0)
            return order;
        a.remove_prefix(std::min<std::size_t>(a.size(), 1));  // the dot
        b.remove_prefix(std::min<std::size_t>(b.size(), 1));
    }
    return 0;
}

int compareTags(std::string_view a, std::string_view b) noexcept {
    while (!a.empty() && !b.empty()) {
        if (isDigit(a.front()) && isDigit(b.front())) {
            if (const int order = compareNumbers(takeNumber(a), takeNumber(b)); order != 0)
                return order;
        } else if (a.front() != b.front()) {
            return a.front() < b.front() ? -1 : 1;
        } else {
            a.remove_prefix(1);
            b.remove_prefix(1);
        }
    }
    return static_cast<int>(!a.empty()) - static_cast<int>(!b.empty());
}

bool isRelease(std::string_view text) noexcept {
    for (int count = 1; count <= kMaxNumbers; ++count) {
        const std::size_t before = text.size();
        takeNumber(text);
        if (text.size() == before)
            return false;
        if (text.empty())
            return true;
        if (text.front() != '.')
            return false;
        text.remove_prefix(1);
    }
    return false;
}

}  // namespace

std::optional<Version> Version::parse(std::string_view text) {
    if (text.size() > kMaxBytes)
        return std::nullopt;
    const std::size_t hyphen = std::min(text.find('-'), text.size());
    if (!isRelease(text.substr(0, hyphen)))
        return std::nullopt;
    if (hyphen != text.size()) {
        const std::string_view tag = text.substr(hyphen + 1);
        if (tag.empty() || !std::all_of(tag.begin(), tag.end(), isTagCharacter))
            return std::nullopt;
    }
    Version version;
    version.text_ = text;
    version.numbersEnd_ = hyphen;
    return version;
}

int Version::compare(const Version& other) const noexcept {
    const std::string_view a = text_;
    const std::string_view b = other.text_;
    if (const int order = compareReleases(a.substr(0, numbersEnd_), b.substr(0, other.numbersEnd_));
        order != 0)
        return order;
    if (isPreRelease() != other.isPreRelease())
        return isPreRelease() ? -1 : 1;
    return compareTags(a.substr(numbersEnd_), b.substr(other.numbersEnd_));
}

}  // namespace tavik
