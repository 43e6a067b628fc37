#include "tools/qpk/IgnoreRules.h"

#include <fnmatch.h>

#include "platform/core/status/Status.h"
#include "tools/qpk/InputFile.h"

namespace tavik::qpk {
namespace {

constexpr std::size_t kMaxFileBytes = std::size_t{1} << 20;
constexpr const char* kAnyFolders = "**";

// What version control keeps beside the files, this tool's own file, and the packages that
// `qpk pack .` has put at the top.
constexpr std::string_view kOfEveryFolder =
    ".gitignore\n.gitattributes\n.gitmodules\n.hgignore\n.qpkignore\n/*.qpk\n";

std::vector<std::string> split(std::string_view path) {
    std::vector<std::string> parts;
    for (std::size_t start = 0; start <= path.size();) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        parts.emplace_back(path.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

/// Blanks at the end do not count unless a backslash is before them, nor do a Windows editor's line
/// ends.
std::string_view withoutBlanksBehind(std::string_view line) {
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    while (!line.empty() && line.back() == ' ' &&
           (line.size() == 1 || line[line.size() - 2] != '\\'))
        line.remove_suffix(1);
    return line;
}

using Part = std::vector<std::string>::const_iterator;

bool matches(Part rule, Part ruleEnd, Part name, Part nameEnd) {
    if (rule == ruleEnd)
        return name == nameEnd;
    if (*rule != kAnyFolders)
        return name != nameEnd && ::fnmatch(rule->c_str(), name->c_str(), 0) == 0 &&
               matches(rule + 1, ruleEnd, name + 1, nameEnd);
    // At the end it stands for everything in a folder, but not for the folder.
    if (rule + 1 == ruleEnd)
        return name != nameEnd;
    for (;; ++name) {
        if (matches(rule + 1, ruleEnd, name, nameEnd))
            return true;
        if (name == nameEnd)
            return false;
    }
}

}  // namespace

IgnoreRules::IgnoreRules(std::string_view text) {
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        addLine(text.substr(start, end - start));
        start = end + 1;
    }
}

void IgnoreRules::addLine(std::string_view line) {
    line = withoutBlanksBehind(line);
    if (line.empty() || line.front() == '#')
        return;
    Rule rule;
    if (line.front() == '!') {
        rule.takesBack = true;
        line.remove_prefix(1);
    }
    if (!line.empty() && line.back() == '/') {
        rule.isForFolders = true;
        line.remove_suffix(1);
    }
    if (line.empty())
        return;
    const bool isTiedToTop = line.find('/') != std::string_view::npos;
    if (line.front() == '/')
        line.remove_prefix(1);
    if (!isTiedToTop)
        rule.parts.emplace_back(kAnyFolders);
    for (std::string& part : split(line))
        // One after another they mean no more than one, and would be tried in every combination.
        if (rule.parts.empty() || part != kAnyFolders || rule.parts.back() != kAnyFolders)
            rule.parts.push_back(std::move(part));
    rules_.push_back(std::move(rule));
}

IgnoreRules IgnoreRules::ofFolder(const std::string& folder) {
    const std::string path = folder + "/" + kIgnoreFileName;
    const std::string own = readWhole(path, kMaxFileBytes, FinalLink::refused).value_or("");
    if (own.size() > kMaxFileBytes)
        fail(Status::packageTooLarge, path,
             "more than " + std::to_string(kMaxFileBytes) + " bytes");
    return IgnoreRules(std::string(kLeftOvers) + std::string(kOfEveryFolder) + own);
}

bool IgnoreRules::ignores(std::string_view path, Kind kind) const {
    const std::vector<std::string> names = split(path);
    for (auto rule = rules_.rbegin(); rule != rules_.rend(); ++rule)
        if ((kind == Kind::folder || !rule->isForFolders) &&
            matches(rule->parts.begin(), rule->parts.end(), names.begin(), names.end()))
            return !rule->takesBack;
    return false;
}

}  // namespace tavik::qpk
