#include <gtest/gtest.h>

#include <string>

#include "platform/core/identity/IdentityService.h"
#include "platform/core/texts/Status.h"
#include "tests/support/FeedServer.h"

namespace tavik {
namespace {

using testing::FeedServer;
using testing::ServerAnswer;

const std::string kToken = "S3cr3tToken";

template <class Work>
int statusOf(Work work) {
    try {
        work();
        return 0;
    } catch (const Error& error) {
        EXPECT_EQ(std::string(error.what()).find("S3cr3t"), std::string::npos) << error.what();
        return error.status();
    }
}

TEST(IdentityService, AsksWithTheAccountAndTheHeader) {
    FeedServer server;
    server.serve("/kps/accounts/me%2F..%40home/extensions/com.example.a", {"yes"});
    IdentityService service;
    service.setEndPoint(server.address("/kps/"));
    service.setCredentials(kToken, "Bearer", "me/..@home");
    service.requireAccount("com.example.a", "A");
    const auto requests = server.requests("/kps/accounts/me%2F..%40home/extensions/com.example.a");
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].substr(0, 4), "GET ");
    EXPECT_NE(requests[0].find("\nAuthorization: Bearer S3cr3tToken\n"), std::string::npos);
}

TEST(IdentityService, EachCauseHasItsStatus) {
    FeedServer server;
    ServerAnswer moved;
    moved.status = 302;
    moved.headers = {"Location: " + server.address("/accounts/me/extensions/yes")};
    ServerAnswer denied{"no"};
    denied.status = 403;
    ServerAnswer broken{"no"};
    broken.status = 503;
    ServerAnswer busy{"no"};
    busy.status = 429;
    server.serve("/accounts/me/extensions/yes", {"yes"});
    server.serve("/accounts/me/extensions/moved", moved);
    server.serve("/accounts/me/extensions/denied", denied);
    server.serve("/accounts/me/extensions/broken", broken);
    server.serve("/accounts/me/extensions/busy", busy);
    IdentityService service;
    const auto ask = [&](const std::string& id) {
        return Status(statusOf([&] { service.requireAccount(id, "A"); }));
    };
    EXPECT_EQ(ask("yes"), Status::endPointMissing);
    service.setEndPoint(server.address(""));
    EXPECT_EQ(ask("yes"), Status::credentialsMissing);
    service.setCredentials(kToken, "Bearer", "me");
    EXPECT_EQ(ask("yes"), Status::success);
    EXPECT_EQ(ask("denied"), Status::accountRefused);
    EXPECT_EQ(ask("none"), Status::accountRefused);
    EXPECT_EQ(ask("moved"), Status::identityUnreachable);
    EXPECT_EQ(ask("broken"), Status::identityUnreachable);
    EXPECT_EQ(ask("busy"), Status::identityUnreachable);
    server.stop();
    EXPECT_EQ(ask("yes"), Status::identityUnreachable);
    service.forget();
    EXPECT_EQ(ask("yes"), Status::endPointMissing);
}

TEST(IdentityService, RefusesWhatCannotStandInARequest) {
    IdentityService service;
    for (const char* endPoint :
         {"", "kps.example.com", "http://kps.example.com", "https://S3cr3t@kps.example.com",
          "file:///kps", "https://kps.example.com/?S3cr3t", "https://kps.example.com/\r\nX: y"})
        EXPECT_EQ(Status(statusOf([&] { service.setEndPoint(endPoint); })), Status::endPointInvalid)
            << endPoint;
    const std::string rows[][3] = {
        {"", "Bearer", "me"},
        {kToken + "\r\nX: y", "Bearer", "me"},
        {kToken + " x", "Bearer", "me"},
        {std::string(20'000, 'x'), "Bearer", "me"},
        {kToken, "Bearer:", "me"},
        {kToken, "Bearer\n", "me"},
        {kToken, "", "me"},
        {kToken, "Bearer", ""},
        {kToken, "Bearer", ".."},
        {kToken, "Bearer", "S3cr3t\nme"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Status(statusOf([&] { service.setCredentials(row[0], row[1], row[2]); })),
                  Status::invalidArgument)
            << row[0] << row[1] << row[2];
}

}  // namespace
}  // namespace tavik
