#include <gtest/gtest.h>

#include <string>

#include "platform/core/updates/Feed.h"
#include "platform/core/updates/Offer.h"
#include "tests/package/Expect.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/updates/FeedTexts.h"

namespace tavik::testing {
namespace {

const Address kBase = Address::parse("https://e.com/feeds/feed.json");

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
}

TEST(Feed, FaultsOfTheWholeRefuseIt) {
    const std::string rows[] = {
        "",
        R"({"formatVersion":2,"serial":1,"expires":"2099-01-01T00:00:00Z","extensions":[]})",
        R"({"formatVersion":1,"expires":"2099-01-01T00:00:00Z","extensions":[]})",
        R"({"formatVersion":1,"serial":1,"serial":2,"expires":"2099-01-01T00:00:00Z"})",
        feedText(-1, ""),
        feedText(1, "", "2099-01-01T00:00:00+01:00"),
        feedText(1, "", "2099-02-30T00:00:00Z"),
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row);
        expectStatus(Status::feedInvalid, kBase.text(), [&] { parseFeed(row, kBase); });
    }
}

/// The members of an entry for so many products.
std::string forProducts(int count) {
    std::string json;
    for (int i = 0; i < count; ++i)
        json += (i == 0 ? R"("products":[)" : ",") + (R"({"name":"p)" + std::to_string(i) + "\"}");
    return json + "]";
}

TEST(Feed, LeavesBrokenItemsOutAndKeepsTheOthers) {
    const std::string products =
        R"("products":[{"name":"sketch","minVersion":"17.0","maxVersion":"18"}])";
    const std::string tooMany = forProducts(257);
    struct {
        const char* from;
        const char* to;
        const char* fault;
    } const rows[] = {
        {R"("id":"b")", R"("id":"../b")", "extension id"},
        {R"("version":"2.0")", R"("version":"new")", "no version"},
        {R"("maxVersion":"18")", R"("maxVersion":18)", "not a string"},
        {R"("url":"p.qpk")", R"("url":"http://e.com/p")", "another machine"},
        {R"("url":"p.qpk")", R"("url":["p.qpk","file:///etc/passwd"])", "url[1]"},
        {R"("url":"p.qpk")", R"("url":[])", "1 to 20 entries"},
        {R"("size":10)", R"("size":1e3)", "whole number"},
        {R"("size":10)", R"("size":0)", "is 0"},
        {R"("sha256":"a)", R"("sha256":")", "hexadecimal"},
        {products.c_str(), tooMany.c_str(), "more than 256 entries"},
    };
    for (const auto& row : rows) {
        const std::string broken = replaced(feedItem("b", "2.0"), row.from, row.to);
        const Feed feed = parseFeed(
            feedText(1, feedItem("c", "1.0") + "," + broken + "," + feedItem("a", "1.0")), kBase);
        ASSERT_EQ(feed.warnings.size(), 1U) << row.to;
        EXPECT_NE(feed.warnings[0].text.find(row.fault), std::string::npos)
            << row.to << ": " << feed.warnings[0].text;
        ASSERT_EQ(feed.items.size(), 2U) << row.to;
        EXPECT_EQ(feed.items[0].id + feed.items[1].id, "ac") << row.to;
    }
}

TEST(Feed, TheNewestThatFitsIsChosen) {
    const std::string blocked = R"("blocked":"crashes",)";
    // Beside an entry that offers the version as if nothing were wrong with it.
    const auto blockedBy = [](const std::string& reason) {
        return feedItem("a", "2.0") + "," + feedItem("a", "2.0", R"("blocked":)" + reason + ",");
    };
    struct {
        const char* name;
        std::string items;
        const char* expected;
    } const rows[] = {
        {"newest, whatever the order",
         feedItem("A", "1.9") + "," + feedItem("a", "1.10") + "," + feedItem("a", "1.2"), "1.10"},
        {"equal is none", feedItem("a", "1.0.0"), ""},
        {"another extension", feedItem("b", "2.0"), ""},
        {"pre-release", feedItem("a", "2.0-rc.1") + "," + feedItem("a", "1.5"), "1.5"},
        {"blocked in another entry", feedItem("a", "2.0") + "," + feedItem("a", "2.0.0", blocked),
         ""},
        {"blocked by whatever it says", blockedBy("true"), ""},
        {"blocked: false", blockedBy("false"), ""},
        {"blocked: null", blockedBy("null"), ""},
        {"blocked without words", blockedBy(R"("")"), ""},
        {"blocked with too many words", blockedBy('"' + std::string(256, 'x') + '"'), ""},
        {"blocked in two lines", blockedBy(R"("x\ny")"), ""},
        {"blocked and broken",
         R"({"id":"a","version":"2.0",)" + blocked + R"("size":0},)" + feedItem("a", "2.0"), ""},
        {"another product", replaced(feedItem("a", "2.0"), "sketch", "layout"), ""},
        {"product too old", replaced(feedItem("a", "2.0"), "17.0", "17.3"), ""},
    };
    const std::vector<UpdatableProduct> products{{"paint", *Version::parse("17.2"), ""},
                                                 {"sketch", *Version::parse("17.2"), ""}};
    UpdatableExtension installed;
    installed.idKey = "a";
    installed.version = *Version::parse("1.0");
    for (const auto& row : rows) {
        const Feed feed = parseFeed(feedText(1, row.items), kBase);
        const FeedItem* chosen = chooseUpdate(feed, installed, products);
        EXPECT_EQ(chosen == nullptr ? "" : chosen->version.text(), row.expected) << row.name;
    }
}

// The example that authors start from.
TEST(Feed, TheDocumentedExampleIsValid) {
    const std::string page = readFile(source("docs/update-feed.md"));
    const auto begin = page.find("```json\n") + 8;
    const Feed feed = parseFeed(page.substr(begin, page.find("```", begin) - begin), kBase);
    EXPECT_TRUE(feed.warnings.empty()) << feed.warnings[0].text;
    ASSERT_EQ(feed.items.size(), 2U);
    EXPECT_EQ(feed.items[1].mirrors[0].text(), "https://e.com/feeds/brushes-1.5.0.qpk");
    EXPECT_TRUE(feed.items[0].blocked);
}

}  // namespace
}  // namespace tavik::testing
