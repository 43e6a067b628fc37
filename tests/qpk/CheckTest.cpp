#include <rapidjson/document.h>

#include <filesystem>

#include "platform/support/Json.h"
#include "tests/qpk/Qpk.h"
#include "tests/support/PackageBuilder.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;

class Check : public Qpk {
  protected:
    /// The document that qpk check prints about these, held against its schema.
    JsonDocument report(const std::vector<std::string>& paths, int exitStatus) const {
        std::vector<std::string> arguments = {"check", "--json"};
        arguments.insert(arguments.end(), paths.begin(), paths.end());
        const Result result = qpk(arguments);
        EXPECT_EQ(result.exitCode, exitStatus) << result.err;
        writeFile(at("report.json"), result.out);
        const Result judged = run({"python3", "-m", "jsonschema", "-i", at("report.json"),
                                   tavik::testing::source("docs/schemas/qpk-check.json")});
        EXPECT_EQ(judged.exitCode, 0) << judged.out << judged.err;
        return parseJson(result.out);
    }
};

TEST_F(Check, ShowsAllFaultsAtOnce) {
    PackageBuilder builder("bad id", "x");
    builder.with("homepage", "\"example.com\"")
        .with("updateUrl", "\"http://example.com/feed.json\"")
        .with("requiredAccount", "true")
        .named("Pens & Inks")
        .with("storeName", R"("A & B")")
        .with("products", R"([{"name": "sketch", "minversion": "1"}, {}, 3])")
        .file("link", "/etc/passwd", 0120777)
        .file("../up", "")
        .file(".git/config", "");
    builder.write(at("a.qpk"));
    const Result result = qpk({"check", at("a.qpk"), "--product", "sketch=1"});
    EXPECT_EQ(result.exitCode, 1);
    for (const char* fault :
         {"extension.json: id \"bad id\"", "extension.json: version \"x\"", "homepage begins",
          "updateUrl is http:", "unknown member \"requiredAccount\"", "storeName has one of < &",
          "products[0] has an unknown member \"minversion\"", "products[1].name", "products[2]",
          "name has one of < & \"", "entry \"link\": is a link", "entry \"../up\": has a component",
          "entry \".git/config\": was left behind"})
        expectIn(at("a.qpk") + ": ", result.out), expectIn(fault, result.out);
    EXPECT_LT(result.out.find("requiredAccount"), result.out.find("entry \"../up\"")) << "by place";
}

// A package for thousands of products would slow every list down.
TEST_F(Check, CountsTheProductsAsTheCoreDoes) {
    const auto products = [](int count) {
        std::string json;
        for (int i = 0; i < count; ++i)
            json += (i == 0 ? "[" : ",") + (R"({"name":")" + std::to_string(i) + "\"}");
        return json + "]";
    };
    PackageBuilder("a", "1").with("products", products(256)).write(at("most.qpk"));
    PackageBuilder("a", "1").with("products", products(257)).write(at("more.qpk"));
    EXPECT_EQ(qpk({"check", at("most.qpk")}).exitCode, 0);
    const Result more = qpk({"check", at("more.qpk")});
    EXPECT_EQ(more.exitCode, 1);
    expectIn("products has more than 256 entries", more.out);
    const Result refused = run({program("TavikCmd"), "--install", at("more.qpk")},
                               {{"TAVIK_HOME", at("user")}, {"TAVIK_SHARED_HOME", at("shared")}});
    EXPECT_EQ(refused.exitCode, 256 - 15);
    expectIn("products has more than 256 entries", refused.err);
}

// What a stranger wrote into a package must not steer or deceive the terminal that shows it.
TEST_F(Check, ShowKeepsForeignTextsPrintable) {
    PackageBuilder("a", "1")
        .with("description", R"("one\ttwo\r\nthree\rfour \u202e\u200b\u2028\u2066\udb40\udc41.")")
        .file("a\xE2\x80\xAEgnp.exe", "x")
        .write(at("a.qpk"));
    const std::string text = good({"show", at("a.qpk")});
    expectIn("\ndescription   one two\n              three?four ?????.\n", text);
    expectIn("a?gnp.exe  1 byte", text);
    for (const char* foreign : {"\r", "\t", "\xE2\x80", "\xE2\x81", "\xF3\xA0"})
        EXPECT_EQ(text.find(foreign), std::string::npos) << foreign;
}

// A name that a glob brings along must not steer the terminal, whatever becomes of the file.
TEST_F(Check, FileNamesAreKeptPrintable) {
    const std::string name = "\x1b[31m.qpk";
    PackageBuilder("a", "1").write(at(name));
    const std::string feed = at("feed\x1b");
    fs::create_directory(feed);
    writeFile(feed + "/" + name, "no package");
    const std::vector<std::vector<std::string>> commands = {{"check", at(name)},
                                                            {"check", at(name + "2")},
                                                            {"show", at(name + "2")},
                                                            {"pack", at(name), "-o", "x"},
                                                            {"sign", "--" + name, "x"},
                                                            {"feed", feed},
                                                            {name},
                                                            {"keygen", feed + "/no/key"}};
    for (const auto& command : commands) {
        const Result result = qpk(command);
        EXPECT_NE(result.out + result.err, "") << command.front();
        EXPECT_EQ((result.out + result.err).find('\x1b'), std::string::npos) << command.front();
    }
}

// Another user could keep everybody from checking folders with it.
TEST_F(Check, NeedsNoNameInTheTemporaryFolder) {
    fs::create_directories(at("tmp/qpk-check.qpk"));
    const Result result = run({"env", "TMPDIR=" + at("tmp"), program("qpk"), "check", source("a")});
    EXPECT_EQ(result.exitCode, 0) << result.err;
}

TEST_F(Check, FindsWhatOnlyReadingEverythingShows) {
    PackageBuilder("a", "1").file("META-INF/content.json", "{}").write(at("half.qpk"));
    expectIn("META-INF/content.json.sig is missing", qpk({"check", at("half.qpk")}).out);
    std::string bytes = readFile(package("a"));
    bytes[bytes.find("a.txt") + 6] ^= 1;  // in the compressed data
    writeFile(at("flipped.qpk"), bytes);
    const Result result = qpk({"check", at("flipped.qpk")});
    EXPECT_EQ(result.exitCode, 1);
    expectIn("entry \"a.txt\": ", result.out);
    expectIn("cannot be read", bad({"check", at("nowhere.qpk")}));
}

TEST_F(Check, TellsWhetherItWouldInstall) {
    PackageBuilder("a", "1")
        .with("products", R"([{"name": "sketch", "minVersion": "17.0", "maxVersion": "18.9"}])")
        .write(at("a.qpk"));
    const std::pair<std::vector<std::string>, int> rows[] = {
        {{"sketch=17"}, 0},     {{"sketch=17.0-beta"}, 1},       {{"sketch=18.9.0"}, 0},
        {{"sketch=18.9.1"}, 1}, {{"layout=17", "sketch=18"}, 0}, {{"sketch"}, 2},
    };
    for (const auto& [products, status] : rows) {
        std::vector<std::string> arguments = {"check", at("a.qpk")};
        for (const std::string& product : products)
            arguments.insert(arguments.end(), {"--product", product});
        EXPECT_EQ(qpk(arguments).exitCode, status) << products.front();
    }
}

// Catches a place that is counted wrongly: in bytes, from 0, behind an escape, at the wrong member
// of two with one name, or at a value instead of its key.
TEST_F(Check, TellsLineAndColumn) {
    struct Row {
        const char* manifest;
        const char* member;
        int line;
        int column;
    };
    const std::string head = R"({"formatVersion": 1, "id": "a", "version": "1", )";
    const std::string good = R"("name": "é", "products": [{"name": "s"}])";
    const Row table[] = {
        {"\n  \"homepage\": \"x\", @", "homepage", 2, 3},
        {"@, \"homepage\": \"x\"", "homepage", 1, 91},
        {"@,\r\n\t\"homepage\" : \"x\"", "homepage", 2, 2},
        {"@, \"description\": \"\\n\\\"{}[]\",\n\"foo\": {\"id\": [1, \"\"]}", "foo", 2, 1},
        {"\"name\": \"a\", \"products\": [\n{\"name\": \"s\"},\n {\"x\": 1, \"name\": 3}]",
         "products[1].name", 3, 11},
        {"\"name\": \"a\", \"products\": [\n{\"name\": \"s\"},\n {}]", "products[1].name", 3, 2},
        {"\"name\": \"a\"", "products", 1, 1},
        {"@,\n\"name\"", nullptr, 2, 7},
        {"@,\n  \"id\": \"b\"", nullptr, 2, 7},
    };
    for (const Row& row : table) {
        SCOPED_TRACE(row.manifest);
        std::string text = head + row.manifest + "}";
        if (const auto at = text.find('@'); at != std::string::npos)
            text.replace(at, 1, good);
        const std::string folder = source("a");
        writeFile(folder + "/extension.json", text);
        const auto document = report({folder}, 1);
        const auto& fault = document["packages"][0]["faults"][0];
        EXPECT_STREQ(row.member, fault["member"].IsNull() ? nullptr : fault["member"].GetString());
        EXPECT_EQ(fault["line"].GetInt(), row.line);
        EXPECT_EQ(fault["column"].GetInt(), row.column);
    }
}

// Catches a bad one that hides what comes after it, in text and as JSON.
TEST_F(Check, JudgesEachOfSeveral) {
    const std::string bad = source("bad", "1.0", R"(, "foo": 1)");
    const std::vector<std::string> paths = {at("nowhere"), bad, package("a"), source("b", "2.0")};
    const Result result = qpk({"check", paths[0], paths[1], paths[2], paths[3]});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, paths[1] + ": extension.json: has an unknown member \"foo\"\n" +
                              paths[2] + ": com.example.a 1.0, no faults\n" + paths[3] +
                              ": com.example.b 2.0, no faults\n");
    expectIn("nowhere: the package cannot be read", result.err);

    const auto document = report(paths, 1);
    const auto& packages = document["packages"];
    ASSERT_EQ(packages.Size(), 3U);
    EXPECT_STREQ(packages[1]["id"].GetString(), "com.example.a");
    EXPECT_EQ(packages[1]["faults"].Size(), 0U);
    ASSERT_EQ(document["failures"].Size(), 1U);
    EXPECT_STREQ(document["failures"][0]["name"].GetString(), "packageUnreadable");
    report({bad, paths[2]}, 1);
    writeFile(at("noise.qpk"), "rubbish");
    const auto noise = report({at("noise.qpk")}, 1);
    EXPECT_TRUE(noise["packages"][0]["version"].IsNull()) << "invented";
    EXPECT_EQ(report({paths[2], paths[3]}, 0)["failures"].Size(), 0U);
    // A name that is no UTF-8 made the document no JSON.
    EXPECT_EQ(report({at("\xFF.qpk")}, 1)["failures"].Size(), 1U);
}

}  // namespace
}  // namespace tavik::testing
