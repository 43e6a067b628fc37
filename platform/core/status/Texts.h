#pragma once

#include <string>
#include <string_view>

#include "platform/core/status/Status.h"

namespace tavik {

/// The languages that the texts come in. Anything else falls back to English.
enum class Language { english, french, german, japanese };

/// What people read about a cause: what is wrong, and what to do about it.
struct Wording {
    const char* cause;
    const char* remedy;
};

/// A row of the table of causes. The headers `...Texts.h` have the rows; a test compares them with
/// docs/statuses.md.
struct Cause {
    Status status;
    const char* name;     ///< as in the Status enumeration
    Wording wordings[4];  ///< by Language
};

/// The language of a locale such as "fr_CA.UTF-8" or "de-AT": what stands before "_", "-" or "."
/// decides, in any letter case.
Language languageOf(std::string_view locale) noexcept;

/// The table of causes, ordered from 0 downwards; `count` rows.
const Cause* causes() noexcept;
std::size_t causeCount() noexcept;

/// The texts of a status; those of Status::internalError for a number that has none.
const Wording& wordingOf(int status, Language language) noexcept;

/// The line that explains a failure, without a line end: subject, cause, facts, remedy.
std::string explain(const Error& error, Language language);

}  // namespace tavik
