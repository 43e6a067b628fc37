#include "platform/support/UtcTime.h"

#include <array>
#include <ctime>

namespace tavik {
namespace {

constexpr const char* kForm = "%Y-%m-%dT%H:%M:%SZ";

}  // namespace

std::optional<std::int64_t> parseUtcTime(const std::string& text) {
    std::tm fields{};
    if (::strptime(text.c_str(), kForm, &fields) == nullptr)
        return std::nullopt;
    const std::int64_t seconds = ::timegm(&fields);
    // Spaces, missing digits and a 31st of June come back as another text.
    if (formatUtcTime(seconds) != text)
        return std::nullopt;
    return seconds;
}

std::string formatUtcTime(std::int64_t seconds) {
    const std::time_t time = seconds;
    std::tm fields{};
    ::gmtime_r(&time, &fields);
    std::array<char, sizeof "0000-00-00T00:00:00Z"> text{};
    const std::size_t size = std::strftime(text.data(), text.size(), kForm, &fields);
    return {text.data(), size};
}

}  // namespace tavik
