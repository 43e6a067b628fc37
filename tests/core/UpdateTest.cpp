#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/FeedServer.h"
#include "tests/support/Machine.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;
using List = std::vector<std::string>;

constexpr const char* kToken = "s3cr3t-t0ken";

/// A machine with version 1.0 of an extension, and a server that has a feed and a newer package.
class Update : public ::testing::Test {
  protected:
    Update() {
        const std::string feed = R"(, "updateFeed": ")" + server_.address("/site/feed.json") + "\"";
        machine_.addProduct("sketch", "Sketch Pro", "17.2", feed);
        EXPECT_EQ(machine_.install(machine_.package("com.example.a", "1.0")).exitCode, 0);
    }

    /// Publishes the package with a feed of its own making; what is served may be another one.
    void publish(const PackageBuilder& builder) {
        const std::string site = machine_.path("site");
        fs::remove_all(site);
        builder.write(site + "/a.qpk");
        ASSERT_EQ(
            run({program("qpk"), "feed", site, "--serial", std::to_string(++serial_)}).exitCode, 0);
        for (const char* name : {"feed.json", "a.qpk"})
            server_.serve(std::string("/site/") + name, {readFile(site + "/" + name)});
    }
    static PackageBuilder version(const std::string& version) {
        return PackageBuilder("com.example.a", version).file("content.txt", version);
    }

    void expectInstalled(const std::string& row) const {
        EXPECT_EQ(machine_.listed(), List{row});
        EXPECT_EQ(machine_.garbage(), List{});
    }

    FeedServer server_;
    Machine machine_;
    int serial_ = 0;
};

TEST_F(Update, IsListedAppliedAndKeepsTheState) {
    ASSERT_EQ(machine_.tavik({"--disable", "com.example.a"}).exitCode, 0);
    publish(version("1.5"));
    Result result = machine_.tavik({"--list_update", "all"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out.substr(0, result.out.find('\n')), "1 extension of Sketch Pro need update");
    EXPECT_NE(machine_.tavik({"--list_update_extension", "com.example.a"}).out.find(" 1.5\n"),
              std::string::npos);

    result = machine_.tavik({"--update", "com.example.a"});
    EXPECT_EQ(result.out + result.err, "");
    expectInstalled("Disabled com.example.a 1.5");
    result = machine_.tavik({"--list_update", "all"});
    EXPECT_EQ(result.out + result.err, "");
    result = machine_.tavik({"--update", "com.example.a"});
    EXPECT_EQ(result.exitCode, 256 - 32);
    EXPECT_NE(result.err.find("no update is available"), std::string::npos) << result.err;
}

TEST_F(Update, WhatIsNotWhatTheFeedDescribesIsRefused) {
    publish(version("1.5"));
    server_.serve("/site/a.qpk", {version("1.6").bytes()});
    EXPECT_EQ(machine_.tavik({"--update", "com.example.a"}).exitCode, 256 - 39);
    expectInstalled("Enabled com.example.a 1.0");

    // Here the digest is right, the version in the feed is not.
    publish(version("1.5"));
    std::string feed = readFile(machine_.path("site/feed.json"));
    feed.replace(feed.find("\"1.5\""), 5, "\"1.7\"");
    server_.serve("/site/feed.json", {feed});
    EXPECT_EQ(machine_.tavik({"--update", "com.example.a"}).exitCode, 256 - 40);
    expectInstalled("Enabled com.example.a 1.0");
}

TEST_F(Update, RequiredAccountIsAskedForAndTheTokenIsNeverWritten) {
    publish(version("1.5").with("requiresAccount", "true"));
    const std::string target = "/accounts/me/extensions/com.example.a";
    const auto update = [&](const List& settings) {
        List arguments = settings;
        const List rest{"--accessToken", kToken, "--tokenType", "Bearer",
                        "--accountID",   "me",   "--install",   machine_.path("site/a.qpk")};
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        return machine_.tavik(arguments);
    };
    const List endPoint{"--setKPSEndPoint", server_.address("")};
    EXPECT_EQ(update({}).exitCode, 256 - 46);
    server_.serve(target, {"no", 403});
    Result result = update(endPoint);
    EXPECT_EQ(result.exitCode, 256 - 48) << result.err;
    EXPECT_EQ((result.out + result.err).find(kToken), std::string::npos) << result.err;
    server_.serve(target, {"yes", 200});
    result = update(endPoint);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(server_.requests(target).back().find(std::string("Authorization: Bearer ") + kToken),
              std::string::npos);
    expectInstalled("Enabled com.example.a 1.5");

    // Without credentials, an update of such an extension is refused like its install.
    publish(version("1.6").with("requiresAccount", "true"));
    EXPECT_EQ(machine_.tavik({"--update", "com.example.a"}).exitCode, 256 - 46);
    EXPECT_EQ(machine_.tavik({endPoint[0], endPoint[1], "--update", "com.example.a"}).exitCode,
              256 - 47);

    for (const auto& entry : fs::recursive_directory_iterator(machine_.path("")))
        if (entry.is_regular_file()) {
            EXPECT_EQ(readFile(entry.path()).find(kToken), std::string::npos) << entry.path();
        }
}

}  // namespace
}  // namespace tavik::testing
