#include <unistd.h>

#include <filesystem>

#include "tests/support/FeedServer.h"
#include "tests/tavik/Front.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;
using List = std::vector<std::string>;

/// A server with a feed of packages below /site/, and a folder to mirror it into.
class Mirror : public Front {
  protected:
    void publish(const List& versions, const std::vector<std::string>& more = {}) {
        const std::string site = machine_.path("site");
        fs::remove_all(site);
        for (const auto& version : versions)
            PackageBuilder("com.example.a", version).write(site + "/a-" + version + ".qpk");
        std::vector<std::string> command{program("qpk"), "feed", site, "--serial",
                                         std::to_string(++serial_)};
        command.insert(command.end(), more.begin(), more.end());
        ASSERT_EQ(run(command).exitCode, 0);
        for (const auto& name : namesIn(site))
            server_.serve("/site/" + name, {readFile(site + "/" + name)});
    }

    JsonDocument mirror(int exitStatus) {
        return json(exitStatus,
                    {"mirror", server_.address("/site/feed.json"), machine_.path("mirror")});
    }

    /// The names of the paths in that member.
    List names(const JsonDocument& document, const char* member) const {
        List found;
        for (const auto& path : document[member].GetArray())
            found.push_back(fs::path(path.GetString()).filename());
        return found;
    }

    /// Where the server's /site/ is in the mirror.
    std::string mirrored(const std::string& name) const { return placed("/site/" + name); }
    std::string placed(const std::string& path) const {
        const std::string address = server_.address(path);
        return machine_.path("mirror/" + address.substr(address.find("://") + 3));
    }

    FeedServer server_;
    int serial_ = 0;
};

// Catches a copy that differs, a second run that loads everything again, and a package that stays
// although no feed offers it.
TEST_F(Mirror, CopiesWhatIsNew) {
    ASSERT_EQ(run({program("qpk"), "keygen", machine_.path("key")}).exitCode, 0);
    const List sign{"--key", machine_.path("key.key")};
    publish({"1.0", "1.5"}, sign);
    EXPECT_EQ(names(mirror(kDone), "copied"),
              (List{"a-1.0.qpk", "a-1.5.qpk", "feed.json", "feed.json.sig"}));
    for (const char* name : {"a-1.0.qpk", "a-1.5.qpk", "feed.json", "feed.json.sig"})
        EXPECT_EQ(readFile(mirrored(name)), readFile(machine_.path("site/") + name)) << name;

    writeFile(machine_.path("mirror/own.txt"), "of the administrator");
    publish({"1.5", "2.0"}, sign);
    const auto second = mirror(kDone);
    EXPECT_EQ(names(second, "copied"), (List{"a-2.0.qpk", "feed.json", "feed.json.sig"}));
    EXPECT_EQ(names(second, "unchanged"), List{"a-1.5.qpk"});
    EXPECT_EQ(names(second, "removed"), List{"a-1.0.qpk"});
    EXPECT_EQ(server_.requests("/site/a-1.5.qpk").size(), 1U);
    EXPECT_EQ(readFile(machine_.path("mirror/own.txt")), "of the administrator");
    EXPECT_EQ(names(mirror(kDone), "copied"), List{});
}

// Catches a mirror that serves what a feed does not describe, or a feed without its packages.
TEST_F(Mirror, KeepsTheOldFeedWhereAPackageFails) {
    publish({"1.0"});
    mirror(kDone);
    const std::string before = readFile(mirrored("feed.json"));
    publish({"2.0", "2.1"});
    server_.serve("/site/a-2.0.qpk", {std::string(10, 'x')});
    const auto document = mirror(kFailed);
    EXPECT_EQ(names(document, "copied"), List{"a-2.1.qpk"});
    EXPECT_EQ(names(document, "removed"), List{});
    EXPECT_EQ(text(document["failures"][0], "name"), "downloadDiffers");
    EXPECT_EQ(readFile(mirrored("feed.json")), before);
    EXPECT_TRUE(fs::exists(mirrored("a-1.0.qpk")));
    EXPECT_FALSE(fs::exists(mirrored("a-2.0.qpk")));
}

// What an administrator keeps this machine from asking, a mirror must not ask either.
TEST_F(Mirror, AsksOnlyWhereItMay) {
    publish({"1.0"});
    writeFile(machine_.shared("policy.json"), R"({"feeds": ["https://extensions.example.com/"]})");
    const auto document = mirror(kFailed);
    EXPECT_EQ(failures(document), List{"policyForbids " + server_.address("/site/feed.json")});
    EXPECT_TRUE(server_.requests("/site/feed.json").empty());
    writeFile(machine_.shared("policy.json"),
              R"({"feeds": [")" + server_.address("/site/") + "\"]}");
    EXPECT_EQ(names(mirror(kDone), "copied"), (List{"a-1.0.qpk", "feed.json"}));
}

// Catches an address or a file's name that leads out of the folder. An item whose address is not
// valid is no item.
TEST_F(Mirror, StaysInItsFolder) {
    publish({"1.0"});
    std::string feed = readFile(machine_.path("site/feed.json"));
    const std::string url = "a-1.0.qpk";
    const std::pair<const char*, int> rows[] = {{"%2e%2e/%2e%2e/%2e%2e/evil.qpk", kFailed},
                                                {"..%2f..%2fevil.qpk", kDone},
                                                {"a.qpk?x=1", kFailed},
                                                {"%5c..%5cevil.qpk", kFailed},
                                                {"a%00.qpk", kFailed}};
    for (const auto& [evil, status] : rows) {
        SCOPED_TRACE(evil);
        std::string changed = feed;
        server_.serve("/site/feed.json", {changed.replace(changed.find(url), url.size(), evil)});
        mirror(status);
        for (const auto& entry : fs::recursive_directory_iterator(machine_.path("mirror")))
            EXPECT_NE(entry.path().extension(), ".qpk") << entry.path();
        fs::remove_all(machine_.path("mirror"));
    }
    EXPECT_FALSE(fs::exists(machine_.path("evil.qpk")));
}

// Catches a feed that puts its own bytes where those of another one belong, and one that changes
// what another one has described.
TEST_F(Mirror, GivesEachFeedItsOwnPlaces) {
    publish({"1.0"});
    const std::string good = readFile(machine_.path("site/feed.json"));
    server_.serve("/g/feed.json", {good});
    server_.serve("/g/a-1.0.qpk", {readFile(machine_.path("site/a-1.0.qpk"))});
    const std::string kSite = server_.address("/site/feed.json");
    const struct {
        const char* url;
        const char* digest;  ///< "": the right one
        int status;
        const char* place;  ///< where the second feed must put nothing
    } rows[] = {
        {R"(["../g/feed.json", "a-1.0.qpk"])", "", kFailed, "/g/feed.json"},
        {R"(["../g/feed.json.sig", "a-1.0.qpk"])", "", kFailed, "/g/feed.json.sig"},
        {R"(["feed.json.succession", "a-1.0.qpk"])", "", kFailed, "/site/feed.json.succession"},
        {R"(["../g/none.qpk", "a-1.0.qpk"])", "", kDone, "/g/none.qpk"},
        {R"("../g/a-1.0.qpk")", "0123456789abcdef", kFailed, "/site/a-1.0.qpk"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.url);
        std::string evil = good;
        evil.replace(evil.find("\"a-1.0.qpk\""), 11, row.url);
        if (*row.digest != '\0')
            evil.replace(evil.find("\"sha256\": \"") + 11, 16, row.digest);
        server_.serve("/site/feed.json", {evil});
        const auto document = json(row.status, {"mirror", server_.address("/g/feed.json"), kSite,
                                                machine_.path("mirror")});
        EXPECT_EQ(failures(document), row.status == kDone ? List{} : List{"feedInvalid " + kSite});
        EXPECT_EQ(fs::exists(mirrored("feed.json")), row.status == kDone);
        EXPECT_EQ(fs::exists(mirrored("a-1.0.qpk")), row.status == kDone);
        EXPECT_EQ(readFile(placed("/g/feed.json")), good);
        if (std::string(row.place) != "/g/feed.json") {
            EXPECT_FALSE(fs::exists(placed(row.place)));
        }
        fs::remove_all(machine_.path("mirror"));
    }
}

// Catches a mirror that passes an older feed, or one that lost its signature, on to all clients.
TEST_F(Mirror, RemembersWhatWasGood) {
    ASSERT_EQ(run({program("qpk"), "keygen", machine_.path("key")}).exitCode, 0);
    const List sign{"--key", machine_.path("key.key")};
    const std::string feed = server_.address("/site/feed.json");
    publish({"1.0"}, sign);
    publish({"2.0"}, sign);
    mirror(kDone);
    const std::string before = readFile(mirrored("feed.json"));
    serial_ = 0;
    publish({"1.0"}, sign);
    EXPECT_EQ(failures(mirror(kFailed)), List{"feedRolledBack " + feed});
    serial_ = 5;
    publish({"1.0"});
    server_.serve("/site/feed.json.sig", {"", 404});
    EXPECT_EQ(failures(mirror(kFailed)), List{"feedSignerChanged " + feed});
    EXPECT_EQ(readFile(mirrored("feed.json")), before);
    EXPECT_TRUE(fs::exists(mirrored("feed.json.sig")));
}

// Catches an index that somebody changed and that makes the mirror delete something else.
TEST_F(Mirror, RemovesNothingOutside) {
    publish({"1.0"});
    writeFile(machine_.path("precious"), "x");
    writeFile(machine_.path("mirror/.tavik-mirror.json"),
              R"({"formatVersion": 1, "files": [{"path": "../precious", "sha256": "", "size": 1,
                  "modified": 1}]})");
    mirror(kDone);
    EXPECT_TRUE(fs::exists(machine_.path("precious")));
}

// Root would delete and write files where the owner of the folder, or of one in it, leads it.
TEST_F(Mirror, NobodyElseLeadsRootOutside) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root is worth leading astray";
    publish({"1.0"});
    const std::string host = fs::path(mirrored("")).parent_path().parent_path().filename();
    const struct {
        const char* commands;  ///< in the machine's folder; $as does the rest as another user
        std::string refused;
    } rows[] = {
        {"chown 65534 mirror; $as ln -s ../victim mirror/evil", "mirror"},
        {"chown 65534 mirror; $as ln -s ../victim mirror/$host", "mirror"},
        {"chmod 777 mirror", "mirror"},
        {"chmod 1777 mirror", "mirror"},
        {"chown 65534 mirror/.tavik-mirror.json", "mirror/.tavik-mirror.json"},
        {"mv mirror/.tavik-mirror.json index; ln -s ../index mirror/.tavik-mirror.json",
         "mirror/.tavik-mirror.json"},
        {"mkdir mirror/$host; chown 65534 mirror/$host; $as ln -s ../../victim mirror/$host/site",
         "mirror/" + host},
        {"mkdir mirror/evil; chown 65534 mirror/evil; $as ln -s ../../victim/precious mirror/evil",
         "mirror/evil"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.commands);
        const std::string script =
            "cd '" + machine_.path("") + "'; host=" + host +
            "; rm -rf mirror victim index; mkdir -m 755 mirror victim; echo kept >victim/precious;"
            R"(echo '{"formatVersion": 1, "files": [{"path": "evil/precious", "sha256": "",
                "size": 1, "modified": 1}]}' >mirror/.tavik-mirror.json;)"
            "chmod 755 .; as='setpriv --reuid=65534 --regid=65534 --clear-groups'; " +
            row.commands;
        ASSERT_EQ(run({"sh", "-euc", script}).exitCode, 0);
        EXPECT_EQ(failures(mirror(kFailed)), List{"storeUnsafe " + machine_.path(row.refused)});
        EXPECT_EQ(namesIn(machine_.path("victim")), List{"precious"});
    }
}

}  // namespace
}  // namespace tavik::testing
