#include "tools/qpk/FeedOptions.h"

#include <charconv>
#include <ctime>
#include <utility>

#include "platform/core/updates/Feed.h"
#include "platform/support/Text.h"
#include "platform/support/UtcTime.h"
#include "tools/qpk/Failure.h"

namespace tavik::qpk {
namespace {

constexpr std::time_t kDay = std::time_t{24} * 60 * 60;

std::int64_t parseTime(const std::string& date) {
    const auto time =
        parseUtcTime(date.find('T') == std::string::npos ? date + "T00:00:00Z" : date);
    if (!time)
        throw UsageError("--expires " + date + " is no date such as 2027-06-01");
    if (*time <= std::time(nullptr))
        throw UsageError("--expires " + date + " is over");
    return *time;
}

/// A part of an option's value, "NAME=TEXT"; throws UsageError where one of them is missing.
std::pair<std::string, std::string> splitAt(char separator, const std::string& value,
                                            const std::string& complaint) {
    const std::size_t at = value.find(separator);
    if (at == std::string::npos || at == 0 || at + 1 == value.size())
        throw UsageError(complaint);
    return {value.substr(0, at), value.substr(at + 1)};
}

WithdrawnVersion parseBlock(const std::string& option) {
    const std::string complaint = "--block " + option + " is not of the form ID=VERSION:REASON";
    const auto [id, rest] = splitAt('=', option, complaint);
    const auto [version, reason] = splitAt(':', rest, complaint);
    if (!isExtensionId(id) || !Version::parse(version))
        throw UsageError(complaint);
    if (!isNameText(reason) || reason.size() > kMaxReasonBytes)
        throw UsageError("--block " + option + ": the reason is not one line of at most " +
                         std::to_string(kMaxReasonBytes) + " bytes");
    return {id, version, reason};
}

std::string titleOf(const CommandLine& line) {
    std::string title = line.option("title").value_or(FeedPage().title);
    if (!isNameText(title))
        throw UsageError("--title has characters that nobody sees, or nothing else");
    return title;
}

}  // namespace

std::optional<std::int64_t> serialBy(const CommandLine& line) {
    const auto option = line.option("serial");
    if (!option)
        return std::nullopt;
    const std::string& text = *option;
    std::int64_t serial = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, serial);
    if (error != std::errc() || stop != end || serial < 0 || serial > kMaxFeedSerial)
        throw UsageError("--serial " + text + " is not a whole number from 0 to 2^53");
    return serial;
}

std::string expiryOf(const CommandLine& line) {
    const auto date = line.option("expires");
    return formatUtcTime(date ? parseTime(*date) : (std::time(nullptr) / kDay + 365) * kDay);
}

FeedPage pageOf(const CommandLine& line) {
    if (line.has("no-page") && (line.has("title") || line.has("product")))
        throw UsageError("--title and --product are about the page that --no-page leaves out");
    FeedPage page;
    page.title = titleOf(line);
    for (const std::string& option : line.allOf("product")) {
        const auto [name, text] =
            splitAt('=', option, "--product " + option + " is not of the form NAME=TEXT");
        page.productNames[name] = text;
    }
    return page;
}

std::vector<WithdrawnVersion> withdrawnBy(const CommandLine& line) {
    std::vector<WithdrawnVersion> withdrawn;
    for (const std::string& option : line.allOf("block"))
        withdrawn.push_back(parseBlock(option));
    return withdrawn;
}

}  // namespace tavik::qpk
