#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/core/policy/PolicyFile.h"
#include "platform/core/session/Session.h"
#include "platform/core/status/Status.h"
#include "platform/core/updates/UpdateCheck.h"
#include "tests/package/Expect.h"
#include "tests/support/FeedServer.h"
#include "tests/support/Machine.h"
#include "tests/updates/FeedTexts.h"

namespace tavik::testing {
namespace {

/// "ID VERSION NAME SIGNER" for each, joined with "; ".
std::string shown(const std::vector<Offer>& offers) {
    std::string text;
    for (const Offer& offer : offers)
        text += (text.empty() ? "" : "; ") + offer.item.id + " " + offer.item.version.text() + " " +
                offer.name + " " + offer.signer;
    return text;
}

// A search shows what an install would take, and nothing else; who signed the feed is told.
TEST(Offers, AreWhatFitsFromEveryFeedThatIsNamed) {
    const TemporaryFolder folder;
    FeedServer server;
    server.serve("/product", {feedText(1, feedItem("b", "1.0") + "," + feedItem("b", "1.2") + "," +
                                              feedItem("b", "2.0-rc.1") + "," +
                                              feedItem("c", "1.0", R"("blocked":"x",)") + "," +
                                              feedItem("denied.d", "1.0"))});
    server.serve("/product.sig", {"K"});
    server.serve("/own", {feedText(1, feedItem("a", "1.5", R"("name":"Pens",)"))});
    UpdateCheckInput input;
    input.products = {{"sketch", *Version::parse("17.2"), server.address("/product")},
                      {"paint", *Version::parse("3"), server.address("/none")}};
    input.extensions.push_back(
        {"a", "a", "a", *Version::parse("1.0"), server.address("/own"), {"sketch"}});
    input.cacheFile = folder / "feeds.db";
    input.verify = [](const CachedFeed& feed, const std::string&) {
        return Signer{feed.signature, {}};
    };
    input.policy = combine({parsePolicyFile(R"({"deny": ["denied.*"]})")});
    const struct {
        AskedFeeds asked;
        const char* wanted;
        const char* offers;
        std::size_t failures;
    } rows[] = {
        {AskedFeeds::all, "", "a 1.5 Pens ; b 1.2 b K", 1},
        {AskedFeeds::ofProducts, "", "b 1.2 b K", 1},
        {AskedFeeds::ofExtensions, "", "a 1.5 Pens ", 0},
        {AskedFeeds::all, "1.0", "b 1.0 b K", 1},
        {AskedFeeds::all, "2.0-rc.1", "b 2.0-rc.1 b K", 1},
    };
    for (const auto& row : rows) {
        input.asked = row.asked;
        UpdateCheck check(input);
        check.run();
        EXPECT_EQ(shown(check.offers(Version::parse(row.wanted))), row.offers);
        EXPECT_EQ(check.failures().size(), row.failures) << row.offers;
    }
}

TEST(Offers, AreInstalledByTheirId) {
    Machine machine;
    const std::string web = machine.path("web");
    for (const char* version : {"1.0", "1.1"})
        PackageBuilder("com.example.a", version)
            .file("content.txt", version)
            .write(web + "/" + version + ".qpk");
    ASSERT_EQ(run({program("qpk"), "feed", web}).exitCode, 0);
    machine.addProduct("sketch", "Sketch Pro", "17.2",
                       R"(, "updateFeed": "file://)" + web + R"(/feed.json")");
    for (const auto& [name, value] : machine.environment())
        ::setenv(name.c_str(), value.c_str(), 1);

    Session session("en_US", "QZ");
    const auto install = [&](const char* id, const std::optional<Version>& version) {
        PackageSource source;
        source.id = id;
        source.version = version;
        session.install(source, Scope::user);
    };
    install("com.example.A", Version::parse("1.0"));
    EXPECT_EQ(machine.seenByHost("com.example.a"), "1.0");
    install("com.example.a", {});
    EXPECT_EQ(machine.seenByHost("com.example.a"), "1.1");
    expectStatus(Status::notOffered, "com.example.b", [&] { install("com.example.b", {}); });
    expectStatus(Status::notOffered, "version 3",
                 [&] { install("com.example.a", Version::parse("3")); });
    EXPECT_EQ(shown(session.searchOffers().offers), "com.example.a 1.1 com.example.a ");
}

}  // namespace
}  // namespace tavik::testing
