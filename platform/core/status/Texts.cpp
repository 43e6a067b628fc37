#include "platform/core/status/Texts.h"

#include <algorithm>

#include "platform/support/Text.h"

namespace tavik {
namespace {

constexpr std::size_t kMaxDetailBytes = 300;
constexpr std::size_t kMaxSubjectBytes = 1024;  // paths are seldom longer

}  // namespace

Language languageOf(std::string_view locale) noexcept {
    struct Code {
        std::string_view code;
        Language language;
    };
    static constexpr Code kCodes[] = {
        {"fr", Language::french}, {"de", Language::german}, {"ja", Language::japanese}};

    const std::string_view code = locale.substr(0, locale.find_first_of("_-.@"));
    const auto same = [code](const Code& row) { return equalsIgnoringCase(code, row.code); };
    const auto* row = std::find_if(std::begin(kCodes), std::end(kCodes), same);
    return row == std::end(kCodes) ? Language::english : row->language;
}

const Wording& wordingOf(int status, Language language) noexcept {
    const Cause* end = causes() + causeCount();
    const auto find = [end](int wanted) {
        return std::find_if(causes(), end, [wanted](const Cause& row) {
            return static_cast<int>(row.status) == wanted;
        });
    };
    const Cause* row = find(status);
    if (row == end)
        row = find(static_cast<int>(Status::internalError));
    return row->wordings[static_cast<std::size_t>(language)];
}

std::string explain(const Error& error, Language language) {
    const Wording& wording = wordingOf(error.status(), language);
    std::string line = "tavik: ";
    if (!error.subject().empty())
        line += shortened(error.subject(), kMaxSubjectBytes) + ": ";
    line += wording.cause;
    if (!error.detail().empty())
        line += " (" + shortened(error.detail(), kMaxDetailBytes) + ")";
    line += std::string("; ") + wording.remedy;
    // Whatever a file name or a foreign text brings along, the explanation stays one line that can
    // be read.
    return printable(line);
}

}  // namespace tavik
