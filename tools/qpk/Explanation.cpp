#include "tools/qpk/Explanation.h"

#include <new>

#include "platform/core/status/Texts.h"
#include "tools/qpk/Failure.h"

namespace tavik::qpk {
namespace {

/// Remedies for the author, in the place of texts that tell a user to ask the author.
std::string remedyFor(const Error& error) {
    const auto status = static_cast<Status>(error.status());
    if (status <= Status::packageDamaged && status >= Status::packageUnsupported)
        return "see all faults with qpk check";
    if (status == Status::feedInvalid)
        return "repair or remove that file";
    return wordingOf(error.status(), Language::english).remedy;
}

Explanation explainError(const Error& error) {
    std::string cause = wordingOf(error.status(), Language::english).cause;
    if (!error.detail().empty())
        cause += " (" + error.detail() + ")";
    return {error.subject(), error.status(), statusName(static_cast<Status>(error.status())), cause,
            remedyFor(error)};
}

}  // namespace

std::string statusName(Status status) {
    for (std::size_t i = 0; i < causeCount(); ++i)
        if (causes()[i].status == status)
            return causes()[i].name;
    return {};
}

std::string Explanation::line() const {
    return (subject.empty() ? "" : subject + ": ") + cause + (remedy.empty() ? "" : "; " + remedy);
}

Explanation explain(const std::exception& exception) {
    if (const auto* failure = dynamic_cast<const Failure*>(&exception))
        return {failure->subject(), 0, "", failure->cause(), failure->remedy()};
    if (const auto* error = dynamic_cast<const Error*>(&exception))
        return explainError(*error);
    if (dynamic_cast<const std::bad_alloc*>(&exception) != nullptr)
        return {"", 0, "", "there is not enough memory", "close other programs and try again"};
    return {"", 0, "", exception.what(), ""};
}

}  // namespace tavik::qpk
