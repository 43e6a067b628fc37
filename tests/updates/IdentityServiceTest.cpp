#include <gtest/gtest.h>

#include <string>

#include "platform/core/identity/IdentityService.h"
#include "platform/core/texts/Status.h"
#include "tests/support/FeedServer.h"

namespace tavik::testing {
namespace {

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

TEST(IdentityService, EachCauseHasItsStatus) {
    FeedServer server;
    FeedServer other;
    other.serve("/yes", {"yes"});
    const std::string account = "/kps/accounts/me%2F..%40home/extensions/";
    server.serve(account + "yes", {"yes"});
    server.serve(account + "moved", {"", 302, {"Location: " + other.address("/yes")}});
    server.serve(account + "denied", {"no", 403});
    server.serve(account + "broken", {"no", 503});
    server.serve(account + "busy", {"no", 429});
    IdentityService service;
    const auto ask = [&](const std::string& id) {
        return Status(statusOf([&] { service.requireAccount(id, "A"); }));
    };
    EXPECT_EQ(ask("yes"), Status::endPointMissing);
    service.setEndPoint(server.address("/kps/"));
    EXPECT_EQ(ask("yes"), Status::credentialsMissing);
    service.setCredentials(kToken, "Bearer", "me/..@home");
    EXPECT_EQ(ask("yes"), Status::success);
    const std::string request = server.requests(account + "yes").at(0);
    EXPECT_NE(request.find("\nAuthorization: Bearer S3cr3tToken\n"), std::string::npos) << request;
    EXPECT_EQ(ask("denied"), Status::accountRefused);
    EXPECT_EQ(ask("none"), Status::accountRefused);
    EXPECT_EQ(ask("moved"), Status::identityUnreachable);
    EXPECT_TRUE(other.requests("/yes").empty()) << "the token went to another host";
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
        {std::string(20'000, 'x'), "Bearer", "me"},
        {kToken, "Bearer:", "me"},
        {kToken, "Bearer", ".."},
        {kToken, "Bearer", "S3cr3t\nme"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Status(statusOf([&] { service.setCredentials(row[0], row[1], row[2]); })),
                  Status::invalidArgument)
            << row[0] << row[1] << row[2];
}

}  // namespace
}  // namespace tavik::testing
