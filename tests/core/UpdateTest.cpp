#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>

#include "tests/support/FeedServer.h"
#include "tests/support/Machine.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;
using List = std::vector<std::string>;

constexpr const char* kToken = "s3cr3t-t0ken";
constexpr int kPackageTooLarge = 256 - 14;
constexpr int kDownloadFailed = 256 - 38;
constexpr int kDownloadDiffers = 256 - 39;
constexpr int kCertificateRefused = 256 - 43;
constexpr int kEndPointMissing = 256 - 46;
constexpr int kCredentialsMissing = 256 - 47;
constexpr int kAccountRefused = 256 - 48;
constexpr int kIdentityUnreachable = 256 - 49;

/// A machine with version 1.0 of an extension, and a server that has a feed and a newer package.
class Update : public ::testing::Test {
  protected:
    Update() {
        const std::string feed = R"(, "updateFeed": ")" + server_.address("/site/feed.json") + "\"";
        machine_.addProduct("sketch", "Sketch Pro", "17.2", feed);
        EXPECT_EQ(machine_.install(machine_.package("com.example.a", "1.0")).exitCode, 0);
    }

    /// Publishes the package with a feed of its own making.
    void publish(const PackageBuilder& builder) {
        const std::string site = machine_.path("site");
        fs::remove_all(site);
        builder.write(site + "/a.qpk");
        ASSERT_EQ(
            run({program("qpk"), "feed", site, "--serial", std::to_string(++serial_)}).exitCode, 0);
        for (const char* name : {"feed.json", "a.qpk"})
            server_.serve(std::string("/site/") + name, {readFile(site + "/" + name)});
    }
    /// Serves the published feed with one text changed.
    void serveFeed(const std::string& from, const std::string& to) {
        std::string feed = readFile(machine_.path("site/feed.json"));
        server_.serve("/site/feed.json", {feed.replace(feed.find(from), from.size(), to)});
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

TEST_F(Update, OnlyTheFileThatTheFeedDescribesIsInstalled) {
    publish(version("1.5"));
    const std::string right = version("1.5").bytes();
    std::string wrong = right;
    wrong[wrong.size() / 2] ^= 1;
    const ServerAnswer half{right, 200, {}, {}, ServerAnswer::Fault::cutInBody};
    const struct {
        const char* name;
        ServerAnswer answer;
        int status;
    } rows[] = {
        {"error", {right, 404}, kDownloadFailed},
        {"half", half, kDownloadFailed},
        {"one bit", {wrong}, kDownloadDiffers},
        {"longer", {right + "x"}, kDownloadDiffers},
        {"endless", {right, 200, {}, {}, ServerAnswer::Fault::endlessChunks}, kDownloadDiffers},
    };
    const auto update = [&] { return machine_.tavik({"--update", "com.example.a"}).exitCode; };
    for (const auto& row : rows) {
        server_.serve("/site/a.qpk", row.answer);
        EXPECT_EQ(update(), row.status) << row.name;
        expectInstalled("Enabled com.example.a 1.0");
    }
    server_.serve("/site/a.qpk", {right});
    serveFeed("\"1.5\"", "\"1.7\"");  // the digest is right, the version is not
    EXPECT_EQ(update(), 256 - 40);
    publish(PackageBuilder("com.example.b", "1.6"));
    serveFeed("com.example.b", "com.example.a");  // nor is this the extension
    EXPECT_EQ(update(), 256 - 40);
    expectInstalled("Enabled com.example.a 1.0");
    publish(version("1.5"));

    server_.serve("/site/half", half);
    server_.serve("/site/wrong", {wrong});
    serveFeed("\"a.qpk\"", R"(["none", "half", "wrong", "a.qpk"])");
    EXPECT_EQ(update(), 0);
    expectInstalled("Enabled com.example.a 1.5");
}

// The package lies beside the feed that was read, wherever the address of the feed led to.
TEST_F(Update, ComesFromWhereTheFeedHasMoved) {
    publish(version("1.5"));
    std::string feed = readFile(machine_.path("site/feed.json"));
    const std::size_t digest = feed.find(':', feed.find("\"sha256\""));
    for (std::size_t at = digest; feed[at] != '}' && feed[at] != ','; ++at)
        feed[at] = static_cast<char>(std::toupper(feed[at]));
    server_.serve("/moved/feed.json", {feed});
    server_.serve("/moved/a.qpk", {readFile(machine_.path("site/a.qpk"))});
    server_.serve("/site/feed.json", {"", 302, {"Location: /moved/feed.json"}});
    server_.serve("/site/a.qpk", {"", 404});
    EXPECT_EQ(machine_.tavik({"--update", "com.example.a"}).exitCode, 0);
    expectInstalled("Enabled com.example.a 1.5");
}

TEST_F(Update, KeepsToTheLimitsOfAnAdministrator) {
    const auto large = version("1.5").stored("large", std::string(500, 'x'));
    publish(large);
    writeFile(machine_.shared("policy.json"), R"({"limits": {"fileBytes": 499}})");
    EXPECT_EQ(machine_.tavik({"--update", "com.example.a"}).exitCode, kPackageTooLarge);
    EXPECT_EQ(machine_.install(machine_.package(large)).exitCode, kPackageTooLarge);
    expectInstalled("Enabled com.example.a 1.0");
    writeFile(machine_.shared("policy.json"), R"({"limits": {"fileBytes": 500}})");
    EXPECT_EQ(machine_.tavik({"--update", "com.example.a"}).exitCode, 0);
    expectInstalled("Enabled com.example.a 1.5");
}

// What is listed is what can be updated, and it stays in the store that it is in.
TEST_F(Update, ConcernsTheCopyThatIsListed) {
    const List installForAll{"--install_for_all", machine_.package("com.example.a", "0.9")};
    ASSERT_EQ(machine_.tavik(installForAll).exitCode, 0);
    publish(version("1.0"));
    Result result = machine_.tavik({"--list_update", "all"});
    EXPECT_EQ(result.out + result.err, "") << "the hidden copy is older";
    ASSERT_EQ(machine_.tavik({"--remove", "com.example.a"}).exitCode, 0);
    EXPECT_EQ(machine_.tavik({"--update", "com.example.a"}).exitCode, 0);
    EXPECT_EQ(machine_.listed(), List{"Enabled com.example.a 1.0"});
    EXPECT_EQ(namesIn(machine_.user("ext")), List{});
    EXPECT_EQ(namesIn(machine_.shared("ext")).size(), 2U) << "one folder and its list of files";
}

TEST_F(Update, RequiredAccountIsAskedForAndTheTokenIsNeverWritten) {
    publish(version("1.5").with("requiresAccount", "true"));
    const auto install = [&](List arguments) {
        const List rest{"--accessToken", kToken,       "--tokenType", "Bearer",
                        "--accountID",   "me/..@home", "--install",   machine_.path("site/a.qpk")};
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        const Result result = machine_.tavik(arguments);
        EXPECT_EQ((result.out + result.err).find(kToken), std::string::npos) << result.err;
        return result.exitCode;
    };
    EXPECT_EQ(install({}), kEndPointMissing);
    EXPECT_EQ(install({"--setKPSEndPoint", "http://127.0.0.1:1"}), kIdentityUnreachable);
    FeedServer other;
    other.serve("/yes", {"yes"});
    const std::string target = "/kps/accounts/me%2F..%40home/extensions/com.example.a";
    const std::pair<ServerAnswer, int> rows[] = {
        {{"no", 401}, kAccountRefused},
        {{"no", 403}, kAccountRefused},
        {{"no", 404}, kAccountRefused},
        {{"no", 429}, kIdentityUnreachable},
        {{"no", 503}, kIdentityUnreachable},
        {{"", 302, {"Location: " + other.address("/yes")}}, kIdentityUnreachable},
    };
    for (const auto& [answer, status] : rows) {
        server_.serve(target, answer);
        EXPECT_EQ(install({"--setKPSEndPoint", server_.address("/kps/")}), status) << answer.status;
    }
    EXPECT_TRUE(other.requests("/yes").empty()) << "the token went to another host";
    server_.serve(target, {"yes"});
    EXPECT_EQ(install({"--setKPSEndPoint", server_.address("/kps")}), 0);
    const std::string request = server_.requests(target).back();
    EXPECT_NE(request.find("\nAuthorization: Bearer s3cr3t-t0ken\n"), std::string::npos) << request;
    expectInstalled("Enabled com.example.a 1.5");

    // Without credentials, an update of such an extension is refused like its install.
    publish(version("1.6").with("requiresAccount", "true"));
    EXPECT_EQ(machine_.tavik({"--update", "com.example.a"}).exitCode, kEndPointMissing);
    EXPECT_TRUE(server_.requests("/site/a.qpk").empty()) << "downloaded before anybody was asked";
    const List update{"--setKPSEndPoint", server_.address("/kps"), "--update", "com.example.a"};
    EXPECT_EQ(machine_.tavik(update).exitCode, kCredentialsMissing);

    for (const auto& entry : fs::recursive_directory_iterator(machine_.path("")))
        if (entry.is_regular_file()) {
            EXPECT_EQ(readFile(entry.path()).find(kToken), std::string::npos) << entry.path();
        }
}

// A memory dump, or another program of the user, must not give the token away: neither while it
// waits for its command, nor while the core has it.
TEST_F(Update, TheProcessIsClosedWhileItHasAToken) {
    publish(version("1.5").with("requiresAccount", "true"));
    fs::permissions(machine_.path(""), fs::perms::owner_all | fs::perms::others_all);
    const std::string question = "/accounts/me/extensions/com.example.a";
    const ServerAnswer silence{"", 200, {}, {}, ServerAnswer::Fault::stall};
    server_.serve(question, silence);
    server_.serve("/site/feed.json", silence);
    // What is closed to a user belongs to root there.
    const auto isClosed = [](const Process& process) {
        struct stat info {};
        const std::string memory = "/proc/" + std::to_string(process.pid()) + "/mem";
        return ::stat(memory.c_str(), &info) == 0 && info.st_uid == 0;
    };
    const List token{"--accessToken", kToken, "--tokenType", "Bearer", "--accountID", "me"};
    const List update{"--list_update", "all"};
    const List install{"--setKPSEndPoint", server_.address("/"), "--install",
                       machine_.path("site/a.qpk")};
    struct {
        List settings;
        List command;
        std::string stalls;
        bool isClosed;
    } const rows[] = {{token, install, question, true},
                      {token, update, "/site/feed.json", true},
                      {{}, update, "/site/feed.json", false}};
    std::map<std::string, std::size_t> asked;
    for (const auto& row : rows) {
        List command{program("TavikCmd")};
        if (geteuid() == 0)
            command = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", command[0]};
        command.insert(command.end(), row.settings.begin(), row.settings.end());
        command.insert(command.end(), row.command.begin(), row.command.end());
        const Process process(command, machine_.environment());
        server_.waitForRequest(row.stalls, ++asked[row.stalls]);
        EXPECT_EQ(isClosed(process), row.isClosed) << row.command.back();
    }
}

// Who listens in the service's place must not get the token, and is not taken for it.
TEST_F(Update, NoTokenGoesToAServiceThatProvesNothing) {
    publish(version("1.5").with("requiresAccount", "true"));
    const Certificate certificate(machine_.path("tls"));
    FeedServer impostor(certificate);
    const Result result = machine_.tavik(
        {"--setKPSEndPoint", impostor.address("/kps"), "--accessToken", kToken, "--tokenType",
         "Bearer", "--accountID", "me", "--install", machine_.path("site/a.qpk")});
    EXPECT_EQ(result.exitCode, kCertificateRefused) << result.err;
    EXPECT_NE(result.err.find("the identity service: "), std::string::npos) << result.err;
    EXPECT_TRUE(impostor.requests("/kps/accounts/me/extensions/com.example.a").empty());
    expectInstalled("Enabled com.example.a 1.0");
}

TEST(EndPoint, IsRefusedWhereNoTokenMayBeSent) {
    for (const char* endPoint :
         {"kps.example.com", "http://kps.example.com", "https://s3cr3t@kps.example.com",
          "file:///kps", "https://kps.example.com/?s3cr3t", "https://kps.example.com/\r\nX: y"}) {
        const Result result = Machine().tavik({"--setKPSEndPoint", endPoint});
        EXPECT_EQ(result.exitCode, 256 - 45) << endPoint;
        EXPECT_EQ(result.err.find("s3cr3t"), std::string::npos) << result.err;
    }
}

}  // namespace
}  // namespace tavik::testing
