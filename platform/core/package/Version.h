#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tavik {

/// One to four numbers with dots, optionally `-` and a pre-release tag: "2.8.10", "1.5-beta.2".
/// Keeps its text; comparison goes by meaning: "2.8.010" equals "2.8.10", "1.2" equals "1.2.0".
class Version {
  public:
    static constexpr std::size_t kMaxBytes = 63;

    /// Version 0.
    Version() = default;

    /// Nothing where `text` is no version. A tag has letters, digits, `.`, `-` and `_`, at least
    /// one.
    static std::optional<Version> parse(std::string_view text);

    /// As it was written.
    const std::string& text() const noexcept { return text_; }
    bool isPreRelease() const noexcept { return numbersEnd_ != text_.size(); }

    /// Less than, equal to or greater than 0. Numbers of any length compare as numbers. A
    /// pre-release comes before its release; two of them compare from left to right, digits that
    /// stand together as one number, everything else by bytes, the shorter first: alpha < alpha.2 <
    /// alpha.10 < beta.
    int compare(const Version& other) const noexcept;

  private:
    std::string text_ = "0";
    std::size_t numbersEnd_ = 1;  ///< where the tag's hyphen stands, or the end of the text
};

inline bool operator==(const Version& a, const Version& b) noexcept {
    return a.compare(b) == 0;
}
inline bool operator!=(const Version& a, const Version& b) noexcept {
    return a.compare(b) != 0;
}
inline bool operator<(const Version& a, const Version& b) noexcept {
    return a.compare(b) < 0;
}
inline bool operator>(const Version& a, const Version& b) noexcept {
    return a.compare(b) > 0;
}
inline bool operator<=(const Version& a, const Version& b) noexcept {
    return a.compare(b) <= 0;
}
inline bool operator>=(const Version& a, const Version& b) noexcept {
    return a.compare(b) >= 0;
}

}  // namespace tavik
