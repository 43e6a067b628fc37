#include <gtest/gtest.h>

#include <string>

#include "platform/support/Json.h"

namespace tavik {
namespace {

using namespace std::string_literals;

// Each row is a text that a lenient reader would take, and two readers differently.
TEST(Json, RefusesWhatReadersDisagreeOn) {
    const struct {
        const char* name;
        std::string text;
        const char* fault;
    } rows[] = {
        {"text after the value", "{} x", "byte 3"},
        {"NUL behind the value", "{}\0x"s, "NUL"},
        {"NUL in a string", R"({"a":"\u0000"})", "NUL"},
        {"byte order mark", "\xEF\xBB\xBF{}", "byte 0"},
        {"duplicate key", R"({"a":1,"b":2,"a":3})", "duplicate key \"a\""},
        {"duplicate key by escape", R"({"a":1,"\u0061":2})", "duplicate key \"a\""},
        {"bad UTF-8", "\"\xC0\xAF\"", "byte"},
        {"lone surrogate escape", R"("\ud800")", "byte"},
        {"trailing comma", "[1,]", "byte"},
        {"too deep", std::string(33, '[') + std::string(33, ']'), "32 levels"},
        {"too long", std::string((1 << 20) + 1, ' '), "longer than"},
    };
    for (const auto& row : rows) {
        try {
            parseJson(row.text);
            ADD_FAILURE() << row.name << ": was taken";
        } catch (const JsonError& error) {
            EXPECT_NE(std::string(error.what()).find(row.fault), std::string::npos)
                << row.name << ": " << error.what();
        }
    }
}

TEST(Json, TakesANumberThatOnceLedIntoUndefinedBehaviour) {
    EXPECT_EQ(parseJson("0E-32").GetDouble(), 0);
}

TEST(Json, PrintableTextIsUtf8WithoutControls) {
    for (const char* text : {"plain", "d\xC3\xA9t\xC3\xA9", "\xF0\x9F\x8E\xA8", "\xC2\xA0"})
        EXPECT_TRUE(isPrintableText(text)) << text;
    for (const char* text : {"tab\there", "\x7F", "\xC2\x9F", "\xE2\x82", "\xC0\x80",
                             "\xF4\x90\x80\x80", "\x80", "\xED\xA0\x80"})
        EXPECT_FALSE(isPrintableText(text)) << text;
}

}  // namespace
}  // namespace tavik
