#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/support/JsonObject.h"

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

// Where a complaint returns, as in a check that collects them, reading goes on.
TEST(Json, AReaderOfMembersNamesPlaceAndFault) {
    const auto document = parseJson(
        R"({"text": 1, "flag": "true", "number": 11, "array": {}, "object": [], "odd\u202E": 0})");
    std::vector<std::string> faults;
    const JsonObject object(document, "$.a[0]", [&](const std::string& place, const auto& fault) {
        faults.push_back(complaintText(place, fault));
    });
    EXPECT_EQ(object.text("text"), std::nullopt);
    EXPECT_EQ(object.neededText("none"), "");
    EXPECT_EQ(object.flag("flag"), std::nullopt);
    EXPECT_EQ(object.number("number", 1, 10), std::nullopt);
    EXPECT_EQ(object.neededNumber("text", 1, 10), 1U);
    EXPECT_EQ(object.neededArray("array"), nullptr);
    EXPECT_EQ(object.object("object")->neededText("of no object"), "");
    object.allowOnly({"text", "flag", "number", "array", "object"});
    EXPECT_EQ(faults, (std::vector<std::string>{
                          "$.a[0].text is not a string", "$.a[0].none is missing",
                          "$.a[0].flag is not true or false",
                          "$.a[0].number is not a whole number from 1 to 10",
                          "$.a[0].array is not an array", "$.a[0].object is not an object",
                          "$.a[0] has an unknown member \"odd\\xe2\\x80\\xae\""}));
    EXPECT_THROW(JsonObject(document, "$").neededText("none"), JsonError);
}

}  // namespace
}  // namespace tavik
