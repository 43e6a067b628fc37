#include <gtest/gtest.h>

#include <sstream>

#include "platform/core/policy/Policy.h"
#include "platform/support/Json.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik {
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

/// A session of a shell: its commands ("$ ", continued by "> ") and what they print.
struct Session {
    std::string commands;
    std::string output;

    explicit Session(const std::string& text) {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            const bool isCommand = line.rfind("$ ", 0) == 0 || line.rfind("> ", 0) == 0;
            (isCommand ? commands : output) += (isCommand ? line.substr(2) : line) + "\n";
        }
    }
};

class Document : public ::testing::TestWithParam<const char*> {
  protected:
    std::string text_ = testing::readFile(testing::source(std::string("docs/") + GetParam()));
};

// Catches an example that does not work, or that prints something else than the document says.
TEST_P(Document, ExamplesRunAsTheyStand) {
    const Session session(blocks(text_, "console"));
    ASSERT_NE(session.output, "");
    const testing::TemporaryFolder folder;
    const std::string programs = testing::program("");
    const testing::Result result =
        testing::run({"sh", "-euc", "cd \"$0\"; PATH=$1:$PATH; exec 2>&1\n" + session.commands,
                      folder.path().string(), programs});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, session.output);
}

INSTANTIATE_TEST_SUITE_P(Docs, Document, ::testing::Values("package-format.md", "trust.md"));

TEST(PolicyDocument, HasAPolicyThatHolds) {
    const std::string text = testing::readFile(testing::source("docs/trust.md"));
    const Policy policy = parsePolicy(blocks(text, "json"));
    EXPECT_TRUE(policy.requireSignature);
    EXPECT_EQ(policy.limits.fileBytes, 536870912U);
}

// A policy with a limit's name that nobody reads would make every install fail.
TEST(PolicyDocument, NamesLimitsThatExist) {
    const std::string text = testing::readFile(testing::source("docs/package-format.md"));
    std::istringstream lines(text.substr(text.find("| limit | default | name |")));
    int count = 0;
    for (std::string line; std::getline(lines, line) && line.front() == '|';) {
        const std::size_t start = line.rfind(" `") + 2;
        if (line.find('`') == std::string::npos)
            continue;
        const std::string name = line.substr(start, line.rfind('`') - start);
        EXPECT_NO_THROW(parsePolicy("{\"limits\": {\"" + name + "\": 1}}")) << name;
        ++count;
    }
    EXPECT_EQ(count, 7);
}

}  // namespace
}  // namespace tavik
