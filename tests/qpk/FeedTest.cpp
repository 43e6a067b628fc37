#include <filesystem>

#include "platform/core/crypto/DetachedSignature.h"
#include "tests/qpk/PublishedFeed.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;

TEST_F(PublishedFeed, OffersEveryPackageAsItIs) {
    publish(source("b", "1.2"), "b.qpk");
    publish(source("a", "1.9"), "a-1.9.qpk");
    publish(source("a", "1.10"), "a & 1.10 %.qpk");
    writeFile(web_ + "/notes.txt", "not a package");
    good({"feed", web_, "--expires", "2099-02-28"});
    const Feed feed = this->feed();
    EXPECT_EQ(feed.serial, 1);
    EXPECT_EQ(feed.expires, 4075920000);
    ASSERT_EQ(feed.items.size(), 3U);
    EXPECT_TRUE(feed.warnings.empty());
    for (const FeedItem& item : feed.items)
        EXPECT_TRUE(fs::exists(item.mirrors.front().filePath())) << item.mirrors.front().text();
    const std::string text = readFile(web_ + "/feed.json");
    EXPECT_LT(text.find("\"1.10\""), text.find("\"1.9\"")) << "the newest first";
    EXPECT_EQ(fs::status(web_ + "/feed.json").permissions() & fs::perms::others_read,
              fs::status(web_ + "/notes.txt").permissions() & fs::perms::others_read)
        << "a web server could not read it";
}

TEST_F(PublishedFeed, GoesOnFromTheLastOne) {
    publish(source("a", "1.0"), "a.qpk");
    good({"feed", web_, "--serial", "41"});
    std::string text = readFile(web_ + "/feed.json");
    text.insert(text.find("\"sha256\""), "\"blocked\": \"loses work\", ");
    writeFile(web_ + "/feed.json", text);
    publish(source("a", "1.1"), "a-1.1.qpk");
    good({"feed", web_});
    EXPECT_EQ(feed().serial, 42);
    ASSERT_EQ(feed().items.size(), 2U);
    for (const FeedItem& item : feed().items)
        EXPECT_EQ(item.blocked.value_or(""), item.version.text() == "1.0" ? "loses work" : "");
    expectIn("withdrawn: <bdi>loses work</bdi>", readFile(web_ + "/index.html"));
    fs::remove(web_ + "/a.qpk");
    for (int i = 0; i < 2; ++i)
        good({"feed", web_});
    ASSERT_EQ(feed().items.size(), 2U) << "what was blocked must stay so";
    EXPECT_EQ(feed().items[0].blocked, "loses work");
}

// A number that nothing can follow would end the feed for good.
TEST_F(PublishedFeed, BeginsAnewAfterTheHighestNumber) {
    publish(source("a", "1.0"), "a.qpk");
    good({"feed", web_, "--serial", "9007199254740992"});
    EXPECT_FALSE(feed().restarts);
    expectIn("give --serial with a greater one than the feed had before", bad({"feed", web_}));
    good({"feed", web_, "--serial", "43"});
    EXPECT_EQ(feed().serial, 43);
    EXPECT_TRUE(feed().restarts);
    good({"feed", web_});
    EXPECT_EQ(feed().serial, 44);
    EXPECT_TRUE(feed().restarts) << "readers who have missed number 43 would refuse it";
    expectIn("reached number 44", bad({"feed", web_, "--serial", "44"}));
    EXPECT_EQ(qpk({"feed", web_, "--serial", "9007199254740993"}).exitCode, 2);
}

// Who has the older version installed, or the older feed seen, refuses another signer: the author
// hears of it before they do.
TEST_F(PublishedFeed, WarnsWhereSignersChange) {
    key("a");
    key("b");
    good({"keygen", at("c"), "--succeeds", at("a.key")});
    publish(source("x", "1.0"), "x-1.0.qpk");
    publish(source("x", "1.1"), "x-1.1.qpk");
    const auto sign = [&](const std::string& file, const std::string& name) {
        good({"sign", web_ + "/" + file, "--key", at(name + ".key")});
    };
    const auto warnings = [&](const std::string& feedKey) {
        fs::remove(web_ + "/feed.json");
        const Result result = qpk({"feed", web_, "--key", at(feedKey + ".key")});
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return result.err;
    };
    sign("x-1.0.qpk", "a");
    expectIn("x-1.1.qpk: is unsigned", warnings("a"));
    sign("x-1.1.qpk", "b");
    expectIn("who has the older one installed", warnings("a"));
    sign("x-1.1.qpk", "c");
    EXPECT_EQ(warnings("a"), "");

    const auto feedWith = [&](const std::string& feedKey) {
        return qpk({"feed", web_, "--key", at(feedKey + ".key")}).err;
    };
    expectIn("which takes its place", feedWith("c"));
    EXPECT_TRUE(fs::exists(web_ + "/feed.json.succession"));
    EXPECT_EQ(feedWith("c"), "");
    expectIn("who has seen the feed before will refuse it", feedWith("b"));
    EXPECT_FALSE(fs::exists(web_ + "/feed.json.succession")) << "it is about another key";
}

// What readers of the feed would refuse, or what should not be public.
TEST_F(PublishedFeed, IsNotWrittenWhereNobodyWouldTakeIt) {
    publish(source("a", "1.0"), "a.qpk");
    const std::string k = key("k");
    good({"feed", web_, "--serial", "4", "--key", k});
    good({"feed", web_, "--key", k});
    const std::string before = readFile(web_ + "/feed.json");
    EXPECT_EQ(signerOf(before, readFile(web_ + "/feed.json.sig")).pem(), readFile(at("k.pem")));
    const auto refused = [&](const std::string& text, std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"feed", web_});
        expectIn(text, bad(arguments));
        EXPECT_EQ(readFile(web_ + "/feed.json"), before) << text;
    };
    refused("reached number 5", {"--serial", "5", "--key", k});
    refused("the feed was signed", {});
    refused("no.key: No such file", {"--key", at("no.key")});
    expectIn("no: No such file", bad({"feed", at("no"), "--key", k}));
    fs::copy(k, web_ + "/k.key");
    refused("private key lies in the folder", {"--key", web_ + "/k.key"});

    publish(source("a", "1.0.0"), "same.qpk");
    refused("same id and version", {"--key", k});
    fs::remove(web_ + "/a.qpk");
    refused("published with other content", {"--key", k});
    fs::remove(web_ + "/same.qpk");
    writeFile(web_ + "/broken.qpk", "PK");
    refused("broken.qpk: it is too short", {"--key", k});
    fs::remove(web_ + "/broken.qpk");
    for (const char* name : {"/b.QPK", "/\xFF.qpk"}) {
        writeFile(web_ + name, "");
        refused("; rename it", {"--key", k});
        fs::remove(web_ + name);
    }
    writeFile(web_ + "/index.html", "<h1>My own page</h1>");
    refused("was not made by qpk feed", {"--key", k});
    EXPECT_EQ(readFile(web_ + "/index.html"), "<h1>My own page</h1>");
}

// Catches a version that is still offered although it was withdrawn on the command line.
TEST_F(PublishedFeed, WithdrawsVersions) {
    publish(source("a", "1.0"), "a.qpk");
    publish(source("a", "1.1"), "a-1.1.qpk");
    good({"feed", web_, "--block", "COM.example.a=1.1.0:eats files: all", "--block",
          "com.example.gone=2:is gone"});
    const auto reasons = [&] {
        std::string text;
        for (const FeedItem& item : feed().items)
            text +=
                item.idKey + " " + item.version.text() + " " + item.blocked.value_or("-") + "\n";
        return text;
    };
    EXPECT_EQ(reasons(),
              "com.example.a 1.0 -\ncom.example.a 1.1 eats files: all\n"
              "com.example.gone 2 is gone\n");
    good({"feed", web_, "--block", "com.example.gone=2.0:was never there"});
    expectIn("com.example.gone 2 was never there\n", reasons());
    for (const char* wrong : {"a", "a=1", "a=1:", "=1:x", "a=x:x", "a b=1:x", "a=1:x\ny", "a=1: "})
        EXPECT_EQ(qpk({"feed", web_, "--block", wrong}).exitCode, 2) << wrong;
}

}  // namespace
}  // namespace tavik::testing
