#include <gtest/gtest.h>

#include <string>

#include "platform/support/Json.h"

namespace tavik {
namespace {

using namespace std::string_literals;

struct BadJson {
    const char* name;
    std::string text;
    const char* fault;
};

// Each row is a text that a lenient reader would take, and two readers differently.
TEST(Json, RefusesWhatReadersDisagreeOn) {
    const BadJson rows[] = {
        {"empty", "", "empty"},
        {"text after the value", "{} x", "byte 3"},
        {"NUL behind the value", "{}\0x"s, "NUL"},
        {"NUL in a string", R"({"a":"\u0000"})", "NUL"},
        {"byte order mark", "\xEF\xBB\xBF{}", "byte 0"},
        {"duplicate key", R"({"a":1,"b":2,"a":3})", "duplicate key \"a\""},
        {"duplicate key by escape", R"({"a":1,"\u0061":2})", "duplicate key \"a\""},
        {"bad UTF-8", "\"\xC0\xAF\"", "byte"},
        {"surrogate in UTF-8", "\"\xED\xA0\x80\"", "byte"},
        {"lone surrogate escape", R"("\ud800")", "byte"},
        {"comment", "/**/{}", "byte 0"},
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

TEST(Json, SameKeyInDifferentObjectsIsFine) {
    const auto document = parseJson(R"({"a":{"k":1},"b":{"k":2},"c":[{"k":3},{"k":4}]})");
    EXPECT_EQ(document["c"][1]["k"].GetInt(), 4);
    EXPECT_FALSE(parseJson("0E-32").IsInt());  // once led into undefined behaviour
}

TEST(Json, PrintableTextIsUtf8WithoutControls) {
    struct {
        std::string text;
        bool printable;
    } const rows[] = {
        {"plain", true},
        {"Pinceaux d\xC3\xA9t\xC3\xA9", true},
        {"\xF0\x9F\x8E\xA8", true},
        {"tab\there", false},
        {"\x7F", false},
        {"\xC2\x9F", false},
        {"\xC2\xA0", true},
        {"\xE2\x82", false},
        {"\xC0\x80", false},
        {"\xF4\x90\x80\x80", false},
        {"\x80", false},
        {"\xED\xA0\x80", false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(isPrintableText(row.text), row.printable) << row.text;
}

}  // namespace
}  // namespace tavik
