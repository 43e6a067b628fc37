#include "tools/tavik/Output.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/core/status/Status.h"
#include "platform/support/Environment.h"
#include "platform/support/FileDescriptor.h"
#include "platform/support/Text.h"
#include "tools/tavik/Words.h"

namespace tavik::front {
namespace {

constexpr int kFormatVersion = 1;

DrawingRules rulesFor(int descriptor) {
    if (::isatty(descriptor) != 1)
        return {};
    winsize window{};
    const bool hasSize = ::ioctl(descriptor, TIOCGWINSZ, &window) == 0;
    const bool isDumb = environmentVariable("TERM").value_or("dumb") == "dumb";
    return {hasSize ? window.ws_col : std::size_t{0}, !isDumb && !environmentVariable("NO_COLOR")};
}

bool isSame(const Error& a, const Error& b) {
    return a.status() == b.status() && a.subject() == b.subject() && a.detail() == b.detail();
}

std::string causeOf(const Error& error, Language language) {
    std::string cause = wordingOf(error.status(), language).cause;
    if (!error.detail().empty())
        cause += " (" + error.detail() + ")";
    return cause;
}

}  // namespace

Output::Output(Form form, Language language)
    : form_(form),
      language_(language),
      out_(rulesFor(STDOUT_FILENO)),
      err_(rulesFor(STDERR_FILENO)) {
    document_.number("formatVersion", kFormatVersion);
}

void Output::line(const std::string& text, Tone tone) {
    if (!isJson())
        write(toned(printable(text), tone, out_) + "\n");
}

void Output::table(const Table& table) {
    if (!isJson() && !table.rows.empty())
        write(draw(table, out_));
}

void Output::block(const std::string& text) {
    if (!isJson())
        write(text);
}

void Output::failure(const Error& error) {
    for (const Error& known : failures_)
        if (isSame(known, error))
            return;
    failures_.push_back(error);
    std::string text = error.subject().empty() ? "" : error.subject() + ": ";
    text += causeOf(error, language_) + "; " + remedyFor(error.status(), language_);
    // Nothing more can be done where standard error is closed.
    writeAll(STDERR_FILENO, toned("tavik:", Tone::bad, err_) + " " + printable(text) + "\n");
}

void Output::write(const std::string& text) {
    if (cannotWrite_ || writeAll(STDOUT_FILENO, text))
        return;
    const int error = errno;
    cannotWrite_ = true;
    failure(Error(static_cast<int>(Status::outputFailed), "standard output", errnoText(error)));
}

void Output::finishDocument(const std::vector<DocumentMember>& members) {
    for (const DocumentMember& member : members) {
        if (std::find(written_.begin(), written_.end(), member.name) != written_.end())
            continue;
        if (member.kind == DocumentMember::Kind::list)
            document_.array(member.name, std::vector<int>(), [](int) {});
        else
            document_.optional(member.name, "");
    }
    document_.objects("failures", failures_, [&](const Error& error) {
        document_.member("subject", error.subject());
        document_.number("status", error.status());
        document_.member("name", nameOf(error.status()));
        document_.member("cause", causeOf(error, language_));
        document_.member("remedy", remedyFor(error.status(), language_));
    });
    write(document_.end());
}

ExitStatus Output::finish(const std::vector<DocumentMember>& members) {
    if (isJson())
        finishDocument(members);
    if (!failures_.empty())
        return ExitStatus::failed;
    return isPending_ ? ExitStatus::pending : ExitStatus::done;
}

}  // namespace tavik::front
