#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zlib.h>

#include <cstdlib>
#include <string>

#include "platform/core/online/Fetcher.h"
#include "platform/core/online/Online.h"
#include "tests/support/FeedServer.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik {
namespace {

using testing::Certificate;
using testing::FeedServer;
using testing::ServerAnswer;
using testing::TemporaryFolder;
using Fault = ServerAnswer::Fault;
using Outcome = FetchResult::Outcome;

FetchBounds shortBounds() {
    FetchBounds bounds;
    bounds.stall = std::chrono::seconds(1);
    bounds.documentBytes = 100'000;
    return bounds;
}

FetchResult fetch(const std::string& address, const FetchBounds& bounds = shortBounds(),
                  const std::string& etag = {}) {
    const auto fetcher = loadOnline().newFetcher(bounds);
    return fetcher->fetchAll({{Address::parse(address), etag, {}}}).at(0);
}

ServerAnswer redirectTo(const std::string& location) {
    ServerAnswer answer;
    answer.status = 302;
    answer.headers = {"Location: " + location};
    return answer;
}

ServerAnswer faulty(Fault fault, const std::string& body) {
    ServerAnswer answer;
    answer.fault = fault;
    answer.body = body;
    return answer;
}

std::string gzip(const std::string& bytes) {
    z_stream stream{};
    deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
    std::string packed(deflateBound(&stream, bytes.size()), '\0');
    std::string input = bytes;
    stream.next_in = reinterpret_cast<Bytef*>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

void expectFailure(const FetchResult& result, const std::string& cause, const std::string& row) {
    EXPECT_TRUE(result.outcome == Outcome::failed || result.outcome == Outcome::tooLarge) << row;
    EXPECT_NE(result.failure.find(cause), std::string::npos) << row << ": " << result.failure;
    EXPECT_TRUE(result.body.empty()) << row;
}

TEST(Fetcher, AnswersInTheOrderOfTheRequestsWhateverBecomesOfTheOthers) {
    const TemporaryFolder folder;
    testing::writeFile(folder / "feed.json", "from a file");
    FeedServer server;
    std::vector<DocumentRequest> requests;
    for (int i = 0; i < 100; ++i) {
        const std::string path = "/" + std::to_string(i);
        server.serve(path, {"body of " + path});
        requests.push_back({Address::parse(server.address(path)), {}, {}});
    }
    requests[40].address = Address::parse("file://" + folder / "feed.json");
    requests[50].address = Address::parse(server.address("/none"));
    requests[60].address = Address::parse("http://127.0.0.1:1/refused");
    const auto results = loadOnline().newFetcher(shortBounds())->fetchAll(requests);
    for (std::size_t i = 0; i < results.size(); ++i)
        EXPECT_TRUE(i == 40 || i == 50 || i == 60 ||
                    results[i].body == "body of /" + std::to_string(i))
            << i << ": " << results[i].failure;
    EXPECT_EQ(results[40].body, "from a file");
    EXPECT_EQ(results[50].outcome, Outcome::absent);
    expectFailure(results[60], "connect", "a closed port");
}

TEST(Fetcher, AsksForChangesOnlyAndFollowsRedirects) {
    FeedServer server;
    ServerAnswer feed{"the feed"};
    feed.etag = "\"tag\"";
    feed.headers = {"Last-Modified: Tue, 01 Jun 2027 00:00:00 GMT"};
    server.serve("/v2/feed", feed);
    server.serve("/feed", redirectTo("v2/feed"));
    const auto first = fetch(server.address("/feed"));
    EXPECT_EQ(first.body, "the feed") << first.failure;
    EXPECT_EQ(first.etag, "\"tag\"");
    EXPECT_EQ(first.lastModified, "Tue, 01 Jun 2027 00:00:00 GMT");
    EXPECT_EQ(first.address.text(), server.address("/v2/feed"));
    const auto second = fetch(server.address("/feed"), shortBounds(), first.etag);
    EXPECT_EQ(second.outcome, Outcome::unchanged) << second.failure;
    EXPECT_EQ(server.bodies(), 1U);
}

TEST(Fetcher, NamesEachMisdeedOfAServer) {
    FeedServer server;
    ServerAnswer bomb{gzip(std::string(1'000'000, '0'))};
    bomb.headers = {"Content-Encoding: gzip"};
    ServerAnswer part{"part"};
    part.status = 206;
    ServerAnswer unchanged;
    unchanged.status = 304;
    ServerAnswer longHeader{"x"};
    longHeader.headers = {"X-Long: " + std::string(90'000, 'x')};
    ServerAnswer broken;
    broken.status = 500;
    struct {
        const char* name;
        ServerAnswer answer;
        const char* cause;
    } const rows[] = {
        {"redirect loop", redirectTo("/redirect%20loop"), "redirects more than 5 times"},
        {"redirect to a file", redirectTo("file:///etc/passwd"), "to a file"},
        {"redirect to a server", redirectTo("http://192.0.2.1/"), "another machine"},
        {"redirect with a password", redirectTo("https://u:p@e.com/"), "user name"},
        {"redirect to nowhere", redirectTo(""), "without a place"},
        {"gzip bomb", bomb, "more than 100000 bytes"},
        {"too long", {std::string(100'001, 'x')}, "more than 100000 bytes"},
        {"endless chunks", faulty(Fault::endlessChunks, "xxxx"), "more than 100000 bytes"},
        {"endless headers", faulty(Fault::endlessHeaders, "x"), "headers"},
        {"long header", longHeader, "headers"},
        {"stall", faulty(Fault::stall, "x"), "too slow"},
        {"stall in the body", faulty(Fault::stallInBody, "xxxx"), "too slow"},
        {"cut", faulty(Fault::cutInBody, "xxxx"), "with 2 bytes remaining"},
        {"part", part, "206 (a part)"},
        {"unchanged without a copy", unchanged, "304 (unchanged)"},
        {"server error", broken, "answered 500"},
    };
    std::vector<DocumentRequest> requests;
    for (const auto& row : rows) {
        std::string path = "/" + std::string(row.name);
        for (auto at = path.find(' '); at != std::string::npos; at = path.find(' '))
            path.replace(at, 1, "%20");
        server.serve(path, row.answer);
        requests.push_back({Address::parse(server.address(path)), {}, {}});
    }
    const auto results = loadOnline().newFetcher(shortBounds())->fetchAll(requests);
    for (std::size_t i = 0; i < results.size(); ++i)
        expectFailure(results[i], rows[i].cause, rows[i].name);
}

TEST(Fetcher, BoundsTheWholeAndCanBeStopped) {
    FeedServer server;
    server.serve("/stall", faulty(Fault::stall, "x"));
    FetchBounds bounds;
    bounds.document = std::chrono::milliseconds(200);
    expectFailure(fetch(server.address("/stall"), bounds), "timed out", "a document's time");
    bounds = FetchBounds();
    bounds.batch = std::chrono::milliseconds(200);
    const Address stall = Address::parse(server.address("/stall"));
    auto fetcher = loadOnline().newFetcher(bounds);
    expectFailure(fetcher->fetchAll({{stall, {}, {}, bounds.document}}).at(0), "timed out",
                  "no time left by the document that it belongs to");
    for (const char* call : {"the time of all", "the time of all, in a later call"})
        expectFailure(fetcher->fetchAll({{stall, {}, {}}}).at(0), "given up", call);

    fetcher = loadOnline().newFetcher(FetchBounds());
    fetcher->cancel();
    expectFailure(fetcher->fetchAll({{stall, {}, {}}}).at(0), "stopped", "cancelled");
}

TEST(Fetcher, ReadsRegularFilesOnly) {
    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    testing::writeFile(folder / "long", std::string(100'001, 'x'));
    expectFailure(fetch("file://" + folder / "pipe"), "not a regular file", "a pipe");
    expectFailure(fetch("file://" + folder.path().string()), "not a regular file", "a folder");
    expectFailure(fetch("file:///dev/zero"), "not a regular file", "a device");
    expectFailure(fetch("file://" + folder / "long"), "more than 100000 bytes", "a long file");
    EXPECT_EQ(fetch("file://" + folder / "none").outcome, Outcome::absent);
}

TEST(Fetcher, DownloadsExactlyUpToTheLimit) {
    FeedServer server;
    server.serve("/p.qpk", {"0123456789"});
    server.serve("/lies", faulty(Fault::endlessChunks, "0123456789"));
    server.serve("/error", {"a page for people", 404});
    const auto download = [&](const std::string& path, std::string& received) {
        return loadOnline()
            .newFetcher(shortBounds())
            ->download(Address::parse(server.address(path)), 10, [&](std::string_view bytes) {
                received += bytes;
                return true;
            });
    };
    std::string received;
    EXPECT_EQ(download("/p.qpk", received).outcome, Outcome::fetched);
    EXPECT_EQ(received, "0123456789");
    std::string tooMuch;
    EXPECT_EQ(download("/lies", tooMuch).outcome, Outcome::tooLarge);
    EXPECT_LE(tooMuch.size(), 10U);
    std::string page;
    EXPECT_EQ(download("/error", page).outcome, Outcome::absent);
    EXPECT_EQ(page, "");
}

class FetcherWithEnvironment : public ::testing::Test {
  protected:
    void TearDown() override {
        for (const char* name : {"SSL_CERT_FILE", "http_proxy", "https_proxy"})
            unsetenv(name);
    }
    const TemporaryFolder folder_;
};

TEST_F(FetcherWithEnvironment, TrustsTheCertificatesOfTheSystemOrOfTheVariable) {
    const Certificate certificate(folder_.path().string());
    FeedServer server(certificate);
    FeedServer plain;
    plain.serve("/f", {"plain"});
    server.serve("/f", {"secure"});
    server.serve("/down", redirectTo(plain.address("/f")));
    expectFailure(fetch(server.address("/f")), "certificate", "a certificate of nobody's");
    setenv("SSL_CERT_FILE", certificate.certificateFile.c_str(), 1);
    EXPECT_EQ(fetch(server.address("/f")).body, "secure");
    expectFailure(fetch(server.address("/down")), "from https:", "https to http");
    EXPECT_TRUE(plain.requests("/f").empty());
}

TEST_F(FetcherWithEnvironment, UsesProxiesButNotForThisMachine) {
    FeedServer proxy;
    FeedServer server;
    server.serve("/f", {"direct"});
    setenv("http_proxy", proxy.address("").c_str(), 1);
    setenv("https_proxy", proxy.address("").c_str(), 1);
    EXPECT_EQ(fetch(server.address("/f")).body, "direct");
    expectFailure(fetch("https://feeds.example/f"), "404", "a proxy that refuses");
    EXPECT_EQ(proxy.requests("feeds.example:443").size(), 1U);
}

TEST(Fetcher, CarriesAuthorizationToOneHostOnly) {
    FeedServer other;
    other.serve("/a", {"yes"});
    FeedServer server;
    server.serve("/a", {"yes"});
    server.serve("/moved", redirectTo(other.address("/a")));
    const auto fetcher = loadOnline().newFetcher(shortBounds());
    EXPECT_EQ(fetcher->ask(Address::parse(server.address("/a")), "Bearer t").httpStatus, 200);
    ASSERT_EQ(server.requests("/a").size(), 1U);
    EXPECT_NE(server.requests("/a")[0].find("\nAuthorization: Bearer t\n"), std::string::npos);
    EXPECT_EQ(fetcher->ask(Address::parse(server.address("/moved")), "Bearer t").outcome,
              Outcome::failed);
    EXPECT_TRUE(other.requests("/a").empty());
}

TEST(Online, HashesInPieces) {
    const auto digest = loadOnline().crypto().sha256();
    digest->update("a");
    digest->update("bc");
    EXPECT_EQ(digest->finish(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
}  // namespace tavik
