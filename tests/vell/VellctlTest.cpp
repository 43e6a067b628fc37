#include <sys/stat.h>

#include <filesystem>

#include "platform/support/Json.h"
#include "tests/vell/VellFixture.h"

namespace tavik::testing {
namespace {

using Vellctl = Vell;

TEST_F(Vellctl, ExportsWhatItImported) {
    ASSERT_EQ(import(kContent).exitCode, 0);
    const Result first = vellctl({"export"});
    EXPECT_EQ(parseJson(first.out), parseJson(kContent)) << first.out;
    // RapidJSON compares members in any order.
    EXPECT_LT(first.out.find("Path"), first.out.find("Empty"));
    ASSERT_EQ(import(R"({"pcd": {"1": {"x": {"y": "z"}}}})").exitCode, 0);  // instead of it
    EXPECT_EQ(parseJson(vellctl({"export"}).out), parseJson(R"({"pcd":{"1":{"x":{"y":"z"}}}})"));
}

TEST_F(Vellctl, NamesThePlaceOfAFaultAndImportsNothing) {
    const std::pair<const char*, const char*> rows[] = {
        {R"({"pcd": {}, "pcds": {}})", R"($ has an unknown member "pcds")"},
        {R"({"pcd": {"01": {}}})", R"($.pcd["01"] is not a domain)"},
        {R"({"pcd": {"1": {"": {}}}})", R"($.pcd["1"] has an empty name)"},
        {R"({"pcd": {"1": {"/a": {"k": 1}}}})", R"($.pcd["1"]["/a"]["k"] is not a string)"},
        {R"({"payloads": {"{P}": {"state": 1}}})", R"($.payloads["{P}"].kind is missing)"},
        {R"({"payloads": {"{P}": {"kind": "k", "state": 3000000000}}})", "state is not a 32-bit"},
        {R"({"products": {"p": ["{P}"]}})", R"($.products["p"][0] is "{P}", which is not among)"},
        {R"({"payloads": {"{P}": {"kind": "k", "state": 1}}, "collections": {"c": ["{P}", "{P}"]}})",
         R"($.collections["c"][1] is "{P}" a second time)"},
    };
    const auto with = [](const std::string& value) {
        return R"({"pcd": {"1": {"/a": {"k": ")" + value + R"("}}}})";
    };
    ASSERT_EQ(import(with(std::string(8 << 20, 'x'))).exitCode, 0);
    const Result tooLong = import(with(std::string((8 << 20) + 1, 'x')));
    EXPECT_EQ(tooLong.exitCode, 1);
    EXPECT_NE(tooLong.err.find(R"($.pcd["1"]["/a"]["k"] has more than 8388608 bytes)"),
              std::string::npos)
        << tooLong.err;
    ASSERT_EQ(import(kContent).exitCode, 0);
    const std::string before = vellctl({"export"}).out;
    for (const auto& [json, fault] : rows) {
        const Result result = import(json);
        EXPECT_EQ(result.exitCode, 1) << json;
        EXPECT_NE(result.err.find(folder / "content.json"), std::string::npos) << result.err;
        EXPECT_NE(result.err.find(fault), std::string::npos) << json << ": " << result.err;
    }
    EXPECT_EQ(vellctl({"export"}).out, before);
}

// A pipe or a terminal would keep the import waiting for ever.
TEST_F(Vellctl, ImportsRegularFilesAlone) {
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    const std::pair<std::string, const char*> rows[] = {
        {folder / "pipe", ": it is not a regular file"},
        {"/dev/null", ": it is not a regular file"},
        {folder / ".", ": it is a folder"}};
    for (const auto& [path, fault] : rows) {
        const Result result = vellctl({"import", path});
        EXPECT_EQ(result.exitCode, 1) << path;
        EXPECT_NE(result.err.find(path + fault), std::string::npos) << result.err;
    }
    EXPECT_FALSE(std::filesystem::exists(database));
}

TEST_F(Vellctl, TouchesOneValueAndTellsFailureFromWrongUsage) {
    const std::pair<std::vector<std::string>, int> rows[] = {
        {{"get", "1", "a", "k"}, 1},
        {{"set", "1", "a", "k", "v w"}, 1},  // only an import makes a database
        {{"import", "/nowhere.json"}, 1},
        {{}, 2},
        {{"put"}, 2},
        {{"get", "1", "a"}, 2},
        {{"get", "x", "a", "k"}, 2}};
    for (const auto& [arguments, exitCode] : rows) {
        const Result result = vellctl(arguments);
        EXPECT_EQ(result.exitCode, exitCode) << ::testing::PrintToString(arguments);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
    ASSERT_EQ(import(R"({"pcd": {"1": {"a": {"j": "1"}}}})").exitCode, 0);
    EXPECT_EQ(vellctl({"set", "1", "a", "k", "v w"}).exitCode, 0);
    EXPECT_EQ(vellctl({"get", "1", "a", "k"}).out, "v w\n");
    EXPECT_EQ(vellctl({"set", "1", "", "k", "v"}).exitCode, 1);
    EXPECT_EQ(vellctl({"remove", "1", "a", "j"}).exitCode, 0);
    EXPECT_EQ(vellctl({"remove", "1", "a", "j"}).exitCode, 1);
    EXPECT_EQ(parseJson(vellctl({"export"}).out), parseJson(R"({"pcd":{"1":{"a":{"k":"v w"}}}})"));
}

// Catches a value that is lost and passes for success.
TEST_F(Vellctl, LostOutputIsAFailure) {
    ASSERT_EQ(import(kContent).exitCode, 0);
    for (const char* command : {"export", "get 0 s k", "--version", "--help"})
        for (const char* output : {">/dev/full", ">&-"}) {
            const std::string script =
                "exec \"$0\" " + std::string(command) + " " + std::string(output);
            const Result result =
                run({"sh", "-c", script, program("vellctl")}, {{"NORVA_VELL_DB", database}});
            EXPECT_EQ(result.exitCode, 1) << script;
            EXPECT_NE(result.err.find("standard output"), std::string::npos) << script;
        }
}

// The rule for the file: the variable, then the user's file where there is one, then the system's.
TEST_F(Vellctl, FindsTheUsersDatabase) {
    ASSERT_EQ(import(R"({"pcd": {"1": {"a": {"k": "named"}}}})").exitCode, 0);
    const std::vector<std::string> get{program("vellctl"), "get", "1", "a", "k"};
    const Environment user{{"XDG_DATA_HOME", folder / "data"}, {"NORVA_VELL_DB", ""}};
    EXPECT_NE(run(get, user).out, "named\n");
    std::filesystem::create_directories(folder / "data/norva");
    std::filesystem::copy_file(database, folder / "data/norva/vell.db");
    EXPECT_EQ(run(get, user).out, "named\n");
}

}  // namespace
}  // namespace tavik::testing
