#include <gtest/gtest.h>

#include <string>

#include "platform/support/Hex.h"
#include "platform/support/Text.h"
#include "platform/support/UtcTime.h"

namespace tavik {
namespace {

using namespace std::string_literals;

// A character that nobody sees, or that turns its neighbours round, makes one name look like
// another or hides a part of it.
TEST(Text, IsPrintableWhereEveryCharacterIsSeen) {
    for (const char* text : {"plain", "d\xC3\xA9t\xC3\xA9", "\xF0\x9F\x8E\xA8", "\xC2\xA0", " "}) {
        EXPECT_TRUE(isPrintableText(text)) << text;
        EXPECT_EQ(printable(text), text);
        EXPECT_EQ(oneLine(text), text);
    }
    const struct {
        const char* name;
        const char* text;
        const char* shown;
        const char* escaped;
    } rows[] = {
        {"tab", "a\tb", "a?b", "a\\x09b"},
        {"escape", "\x1B[31m", "?[31m", "\\x1b[31m"},
        {"DEL", "\x7F", "?", "\\x7f"},
        {"C1 control", "\xC2\x9B", "?", "\\xc2\\x9b"},
        {"right-to-left override", "a\xE2\x80\xAEz", "a?z", "a\\xe2\\x80\\xaez"},
        {"directional isolate", "\xE2\x81\xA6", "?", "\\xe2\\x81\\xa6"},
        {"zero-width space", "\xE2\x80\x8B", "?", "\\xe2\\x80\\x8b"},
        {"line separator", "\xE2\x80\xA8", "?", "\\xe2\\x80\\xa8"},
        {"byte order mark", "\xEF\xBB\xBF", "?", "\\xef\\xbb\\xbf"},
        {"tag", "\xF3\xA0\x81\x81", "?", "\\xf3\\xa0\\x81\\x81"},
        {"shorthand control", "\xF0\x9B\xB2\xA0", "?", "\\xf0\\x9b\\xb2\\xa0"},
        {"musical control", "\xF0\x9D\x85\xB3", "?", "\\xf0\\x9d\\x85\\xb3"},
        {"non-character", "\xEF\xBF\xBE", "?", "\\xef\\xbf\\xbe"},
        {"cut character", "\xC3\xA9\xE2\x82", "\xC3\xA9??", "\xC3\xA9\\xe2\\x82"},
        {"overlong", "\xC0\x80", "??", "\\xc0\\x80"},
        {"above the last character", "\xF4\x90\x80\x80", "????", "\\xf4\\x90\\x80\\x80"},
        {"lone continuation", "\x80", "?", "\\x80"},
        {"surrogate", "\xED\xA0\x80", "???", "\\xed\\xa0\\x80"},
    };
    for (const auto& row : rows) {
        EXPECT_FALSE(isPrintableText(row.text)) << row.name;
        EXPECT_EQ(printable(row.text), row.shown) << row.name;
        EXPECT_EQ(oneLine(row.text), row.escaped) << row.name;
    }
    // A file's name may well have joined characters; it may not have controls.
    EXPECT_TRUE(isControlFree("\xE2\x80\x8D"));
    EXPECT_FALSE(isControlFree("\xC2\x9B"));
    EXPECT_TRUE(isUtf8("\xC2\x9B\n"));
    EXPECT_FALSE(isUtf8("\xED\xA0\x80"));
}

TEST(Text, ANameIsNotBlank) {
    for (const char* text : {"", " ", "\xC2\xA0 ", "\xE3\x80\x80", "\xE2\xA0\x80", "\n",
                             "\xEF\xB8\x8F", "\xCC\x81", " \xCC\x81", "\xF3\xA0\x84\x80"})
        EXPECT_FALSE(isNameText(text)) << text;
    for (const char* text : {" a ", "e\xCC\x81", "\xE2\x9D\xA4\xEF\xB8\x8F"})
        EXPECT_TRUE(isNameText(text)) << text;
}

TEST(Text, IsCutBetweenCharacters) {
    EXPECT_EQ(shortened("abc", 3), "abc");
    EXPECT_EQ(shortened("ab\xC3\xA9z", 3), "ab...");
    EXPECT_EQ(oneLine(std::string(161, 'a')), std::string(160, 'a') + "...");
}

TEST(Text, CaseAndHexadecimal) {
    EXPECT_EQ(toLowerAscii("A\xC3\x89Z@["), "a\xC3\x89z@[");
    EXPECT_TRUE(equalsIgnoringCase("META", "meta"));
    EXPECT_FALSE(equalsIgnoringCase("META", "met"));
    EXPECT_FALSE(equalsIgnoringCase("@", "`"));
    EXPECT_EQ(toHex("\x00\xFF\x1b"s), "00ff1b");
    EXPECT_EQ(fromHex("00fF1B"), "\x00\xFF\x1b"s);
    for (const char* text : {"0", "0g", "-1", " 1", "0x"})
        EXPECT_EQ(fromHex(text), std::nullopt) << text;
}

TEST(UtcTime, TakesOneFormAndTimesThatExist) {
    EXPECT_EQ(parseUtcTime("2027-06-01T00:00:00Z"), 1811808000);
    EXPECT_EQ(parseUtcTime("2028-02-29T23:59:59Z"), 1835481599);
    EXPECT_EQ(formatUtcTime(1811808000), "2027-06-01T00:00:00Z");
    for (const char* text : {"2027-06-31T00:00:00Z", "2027-02-29T00:00:00Z", "2027-6-01T00:00:00Z",
                             "2027-06-01 00:00:00Z", "2027-06-01T00:00:00", "2027-06-01T24:00:00Z",
                             " 2027-06-01T00:00:00Z", "2027-06-01T00:00:00Zx", ""})
        EXPECT_EQ(parseUtcTime(text), std::nullopt) << text;
}

}  // namespace
}  // namespace tavik
