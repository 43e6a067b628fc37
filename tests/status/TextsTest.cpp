#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <sstream>

#include "platform/core/status/Texts.h"
#include "platform/support/Json.h"
#include "platform/support/Text.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik {
namespace {

/// The table of docs/statuses.md as the code has it.
std::string documentedTable() {
    std::ostringstream table;
    table << "| status | exit status | name | text | what to do |\n|---|---|---|---|---|\n";
    for (std::size_t i = 0; i < causeCount(); ++i) {
        const Cause& cause = causes()[i];
        const int status = static_cast<int>(cause.status);
        const Wording& english = cause.wordings[0];
        table << "| " << status << " | " << (status & 0xFF) << " | `" << cause.name << "` | "
              << english.cause << " | " << english.remedy << " |\n";
    }
    return table.str();
}

// Catches a status that was added, reworded or renumbered without its documentation.
TEST(Texts, DocumentHasTheTable) {
    const std::string path = testing::source("docs/statuses.md");
    const std::string text = testing::readFile(path);
    const std::size_t start = text.find("| status |");
    ASSERT_NE(start, std::string::npos);
    if (std::getenv("TAVIK_WRITE_DOCS") != nullptr)
        testing::writeFile(path, text.substr(0, start) + documentedTable());
    EXPECT_EQ(text.substr(start), documentedTable())
        << "run this test with TAVIK_WRITE_DOCS=1 to write the table anew";
}

TEST(Texts, EveryCauseIsSaidInEveryLanguageAndStaysOneLine) {
    std::set<int> statuses;
    for (std::size_t i = 0; i < causeCount(); ++i) {
        const Cause& cause = causes()[i];
        const int status = static_cast<int>(cause.status);
        EXPECT_TRUE(statuses.insert(status).second) << cause.name << ": number used twice";
        EXPECT_TRUE(status == 0 || (status <= -1 && status >= -90)) << cause.name;
        std::set<std::string> texts;
        for (const Wording& wording : cause.wordings) {
            ASSERT_NE(wording.cause, nullptr) << cause.name;
            ASSERT_NE(wording.remedy, nullptr) << cause.name;
            EXPECT_TRUE(isPrintableText(wording.cause)) << cause.name;
            EXPECT_TRUE(isPrintableText(wording.remedy)) << cause.name;
            texts.insert(wording.cause);
        }
        EXPECT_EQ(texts.size(), 4U) << cause.name << ": two languages share a text";
    }
}

TEST(Texts, LocaleChoosesTheLanguage) {
    const std::pair<const char*, Language> rows[] = {
        {"en_US", Language::english},      {"FR-be", Language::french},
        {"de_AT.UTF-8", Language::german}, {"ja@x", Language::japanese},
        {"fry_NL", Language::english},     {"d", Language::english},
        {"", Language::english},
    };
    for (const auto& [locale, language] : rows)
        EXPECT_EQ(languageOf(locale), language) << locale;
}

TEST(Texts, UnknownStatusHasTheTextOfAnUnexpectedFailure) {
    for (const int status : {1, 42, -89, -91, 2147483647, -2147483647 - 1})
        EXPECT_STREQ(wordingOf(status, Language::english).cause, "an unexpected failure");
}

TEST(Texts, ExplanationIsOneReadableLineWhateverTheNamesHold) {
    const Error error(static_cast<int>(Status::diskFull), "a\nb\x1b[31m\xE2\x80\xAE\xFF.qpk",
                      "write\r: x");
    EXPECT_EQ(explain(error, Language::english),
              "tavik: a?b?[31m??.qpk: the disk is full (write?: x); free some space and try again");
    const Error many(static_cast<int>(Status::diskFull), "", std::string(5000, 'x'));
    EXPECT_NE(explain(many, Language::english).find('(' + std::string(300, 'x') + "...)"),
              std::string::npos);
    const Error longName(static_cast<int>(Status::diskFull), std::string(5000, 'x'), "");
    EXPECT_EQ(explain(longName, Language::english),
              "tavik: " + std::string(1024, 'x') +
                  "...: the disk is full; free some space and try again");
}

}  // namespace
}  // namespace tavik
