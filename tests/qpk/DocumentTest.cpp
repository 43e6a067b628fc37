#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "platform/core/policy/PolicyFile.h"
#include "platform/support/Json.h"
#include "tests/support/Machine.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {
namespace {

/// What stands between ```LANGUAGE and ```, block after block.
std::string blocks(const std::string& document, const std::string& language) {
    std::istringstream lines(document);
    std::string text;
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        if (inside && line == "```")
            inside = false;
        else if (inside)
            text += line + "\n";
        else
            inside = line == "```" + language;
    }
    return text;
}

std::string document(const std::string& name) {
    return readFile(source("docs/" + name));
}

class Document : public ::testing::TestWithParam<const char*> {};

// Catches an example that does not work, or that prints something else than the document says.
TEST_P(Document, ExamplesRunAsTheyStand) {
    std::istringstream session(blocks(document(GetParam()), "console"));
    std::string commands;  // each begins with "$ " and goes on with "> "
    std::string output;
    for (std::string line; std::getline(session, line);) {
        const bool isCommand = line.rfind("$ ", 0) == 0 || line.rfind("> ", 0) == 0;
        (isCommand ? commands : output) += line.substr(isCommand ? 2 : 0) + "\n";
    }
    ASSERT_NE(output, "");
    const TemporaryFolder folder;
    const Result result = run({"sh", "-euc", "cd \"$0\"; PATH=$1:$PATH; exec 2>&1\n" + commands,
                               folder.path().string(), program("")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, output);
}

INSTANTIATE_TEST_SUITE_P(Docs, Document,
                         ::testing::Values("administration.md", "commands.md",
                                           "identity-service.md", "installer-database.md",
                                           "package-format.md", "qpk.md", "tavik.md", "trust.md",
                                           "update-feed.md"));

/// How xmllint judges the list; 0: it keeps to the schema.
int judgedList(const Machine& machine) {
    const Result list = machine.tavik({"--list_as_xml", "all"});
    EXPECT_EQ(list.exitCode, 0) << list.err;
    std::ofstream(machine.path("list.xml")) << list.out;
    return run({"xmllint", "--noout", "--schema", source("docs/extensions.xsd"),
                machine.path("list.xml")})
        .exitCode;
}

// Catches a list that programs which go by the schema cannot read, and a schema that takes
// anything.
TEST(XmlSchema, HoldsForNamesThatNeedNoEscaping) {
    if (run({"sh", "-c", "command -v xmllint"}).exitCode != 0)
        GTEST_SKIP() << "xmllint is not installed";
    Machine machine;
    machine.addProduct("layout", "Layout Studio", "9.1");
    const auto install = [&](PackageBuilder builder) {
        const Result result = machine.install(machine.package(builder));
        ASSERT_EQ(result.exitCode, 0) << result.err;
    };
    install(PackageBuilder("com.example.a", "1.4.0-beta.1")
                .named("Palettes d'été")
                .with("products", R"([{"name": "sketch"}, {"name": "layout"}])"));
    install(PackageBuilder("b", "2").with("storeName", "\"Example Store\""));
    ASSERT_EQ(machine.tavik({"--disable", "b"}).exitCode, 0);
    EXPECT_EQ(judgedList(machine), 0);

    install(PackageBuilder("com.example.c", "1.0").named("Ink & Wash"));
    EXPECT_NE(judgedList(machine), 0);
    install(PackageBuilder("com.example.c", "1.1").named(R"(x\" status=\"Off)"));
    EXPECT_NE(judgedList(machine), 0);
}

TEST(PolicyDocument, HasAPolicyThatHolds) {
    const Policy policy = combine({parsePolicyFile(blocks(document("trust.md"), "json"))});
    EXPECT_TRUE(policy.requireSignature);
    EXPECT_EQ(policy.limits.fileBytes, 536870912U);
}

}  // namespace
}  // namespace tavik::testing
