#include <gtest/gtest.h>

#include <filesystem>

#include "platform/support/Json.h"
#include "tests/support/Machine.h"

namespace tavik::testing {
namespace {

constexpr int kSignatureMissing = 256 - 55;
constexpr int kPolicyForbids = 256 - 61;

/// A machine with an administrator's folder. The core is the real one but for where that folder is.
class SystemPolicy : public ::testing::Test {
  protected:
    SystemPolicy() {
        machine_.environment()["LD_LIBRARY_PATH"] = TAVIK_SYSTEM_FOLDER_CORE;
        machine_.environment()["TAVIK_TEST_SYSTEM_FOLDER"] = machine_.path("etc");
        machine_.environment()["TAVIK_SHARED_HOME"] = "/nonexistent";
    }

    void policy(const std::string& json) const {
        writeFile(machine_.path("etc/policy.json"), json);
    }
    int install(const std::string& path) const { return machine_.install(path).exitCode; }
    static void qpk(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), program("qpk"));
        const Result result = run(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.err;
    }
    /// A package that names the feed.
    std::string package(const std::string& version, const std::string& feed) {
        return machine_.package(
            PackageBuilder("com.example.a", version).with("updateUrl", quoteJson(feed)));
    }

    Machine machine_;
};

// A user who moves the shared store with a variable must still obey the administrator's rules.
TEST_F(SystemPolicy, HoldsWhereverTheStoresAre) {
    policy(R"({"requireSignature": true, "deny": ["com.example.bad*"]})");
    EXPECT_EQ(install(machine_.package("com.example.a", "1.0")), kSignatureMissing);
    qpk({"keygen", machine_.path("k")});
    writeFile(machine_.path("etc/trusted-keys/k.pem"), readFile(machine_.path("k.pem")));
    const auto sign = [&](const std::string& path) {
        qpk({"sign", path, "--key", machine_.path("k.key")});
        return path;
    };
    EXPECT_EQ(install(sign(machine_.package("com.example.a", "1.0"))), 0);
    EXPECT_EQ(install(sign(machine_.package("com.example.BAD.b", "1.0"))), kPolicyForbids);
    EXPECT_EQ(machine_.listed(), std::vector<std::string>{"Enabled com.example.a 1.0"});
}

// Feed, signature and package come from the company's mirror, whatever the package names.
TEST_F(SystemPolicy, LeadsUpdatesToAMirror) {
    const std::string feed = "https://feeds.invalid/a/feed.json";
    const std::string web = machine_.path("web");
    qpk({"keygen", machine_.path("k")});
    PackageBuilder("com.example.a", "1.1").write(web + "/a.qpk");
    qpk({"feed", web, "--key", machine_.path("k.key")});
    EXPECT_EQ(install(package("1.0", feed)), 0);
    const auto update = [&] { return machine_.tavik({"--update", "com.example.a"}).exitCode; };

    policy(R"({"feeds": ["https://elsewhere.invalid/"]})");
    EXPECT_EQ(update(), kPolicyForbids);
    // An address in the feed itself is led to the mirror too.
    std::string text = readFile(web + "/feed.json");
    text.replace(text.find("a.qpk"), 5, "https://feeds.invalid/a/a.qpk");
    std::filesystem::remove(web + "/feed.json.sig");
    writeFile(web + "/feed.json", text);
    policy(R"({"feeds": ["https://feeds.invalid/a/"],
               "redirects": {"https://feeds.invalid/a/": "file://)" +
           web + R"(/"}})");
    EXPECT_EQ(update(), 0);
    EXPECT_EQ(machine_.listed(), std::vector<std::string>{"Enabled com.example.a 1.1"});
}

}  // namespace
}  // namespace tavik::testing
