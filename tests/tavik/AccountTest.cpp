#include <algorithm>

#include "tests/support/FeedServer.h"
#include "tests/tavik/Front.h"

namespace tavik::testing {
namespace {

/// A package for which an account is needed, and the service that knows one.
class Account : public Front {
  protected:
    Account() {
        service_.serve("/kps/accounts/me/extensions/com.example.a", {"yes"});
        writeFile(machine_.path("token"), "t0ken\n");
        writeFile(machine_.path("empty"), "\n");
    }

    std::string package(const std::string& version) {
        return machine_.package(
            PackageBuilder("com.example.a", version).with("requiresAccount", "true"));
    }

    /// Whether exactly one request came since the last call, with that authorization.
    bool isAsked(const std::string& authorization) {
        const auto requests = service_.requests("/kps/accounts/me/extensions/com.example.a");
        const bool isOne = requests.size() == ++asked_;
        asked_ = requests.size();
        return isOne && requests.back().find("\nAuthorization: " + authorization + "\n") !=
                            std::string::npos;
    }

    FeedServer service_;
    std::size_t asked_ = 0;
};

// A token among the options would be everybody's, so it must be possible to do without.
TEST_F(Account, ComesFromOptionsOrVariables) {
    const std::string address = service_.address("/kps");
    const std::vector<std::string> who{"--identity-service", address, "--account", "me"};
    const struct {
        std::vector<std::string> options;
        Environment variables;
        const char* authorization;  ///< null: the service is not asked
        const char* failure;
    } rows[] = {
        {{}, {}, nullptr, "give --identity-service, --account and --token-file"},
        {{"--identity-service", address}, {}, nullptr, "give --account and --token-file"},
        {{"--token-file", machine_.path("token")}, {}, nullptr, "needs an --account"},
        {who, {}, nullptr, "--account needs an access token"},
        {{"--account", "me", "--token-file", machine_.path("empty")}, {}, nullptr, "it is empty"},
        {{"--account", "me", "--token-file", machine_.path("no")}, {}, nullptr, "No such file"},
        {{"--account", "me", "--token-file", "/dev/null"}, {}, nullptr, "not a regular file"},
        {{"--identity-service", "http://e.com"}, {}, nullptr, "tavik: identity service: "},
        {{"--token-file", machine_.path("token")},
         {{"TAVIK_ACCOUNT", "me"}, {"TAVIK_IDENTITY_SERVICE", address}},
         "Bearer t0ken",
         ""},
        {{"--token-type", "MAC"},
         {{"TAVIK_ACCOUNT", "me"},
          {"TAVIK_IDENTITY_SERVICE", address},
          {"TAVIK_ACCESS_TOKEN", "0ther"},
          {"TAVIK_TOKEN_TYPE", "Basic"}},
         "MAC 0ther",
         ""},
    };
    for (const auto& row : rows) {
        std::vector<std::string> arguments{"install", package("1.0")};
        arguments.insert(arguments.end(), row.options.begin(), row.options.end());
        const Environment before = machine_.environment();
        machine_.environment().insert(row.variables.begin(), row.variables.end());
        const Result result = tavik(arguments);
        machine_.environment() = before;
        EXPECT_EQ(result.exitCode == kDone, row.authorization != nullptr) << result.err;
        EXPECT_NE(result.err.find(row.failure), std::string::npos) << result.err;
        EXPECT_EQ((result.out + result.err).find("0ken"), std::string::npos) << result.err;
        if (row.authorization != nullptr) {
            EXPECT_TRUE(isAsked(row.authorization)) << row.authorization;
        }
    }
}

TEST_F(Account, IsAskedForUpdatesAndStateFilesToo) {
    const std::vector<std::string> who{"--identity-service", service_.address("/kps"),
                                       "--account",          "me",
                                       "--token-file",       machine_.path("token")};
    const auto with = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), who.begin(), who.end());
        return arguments;
    };
    writeFile(machine_.path("state.json"),
              R"({"formatVersion": 1, "extensions": [{"id": "com.example.a", "source": ")" +
                  package("1.0") + "\"}]}");
    out(kDone, with({"apply", machine_.path("state.json")}));
    EXPECT_TRUE(isAsked("Bearer t0ken"));
    PackageBuilder("com.example.a", "1.1")
        .with("requiresAccount", "true")
        .write(machine_.path("web/a.qpk"));
    ASSERT_EQ(run({program("qpk"), "feed", machine_.path("web")}).exitCode, 0);
    machine_.addProduct("sketch", "Sketch Pro", "17.2",
                        R"(, "updateFeed": "file://)" + machine_.path("web/feed.json") + "\"");
    out(kDone, with({"update", "--all"}));
    EXPECT_TRUE(isAsked("Bearer t0ken"));
    EXPECT_EQ(listed(), std::vector<std::string>{"com.example.a 1.1 enabled user"});
}

}  // namespace
}  // namespace tavik::testing
