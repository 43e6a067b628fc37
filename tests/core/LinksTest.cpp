#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "tests/support/Machine.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;
using List = std::vector<std::string>;

/// A machine whose product names the folder for its links.
class Links : public ::testing::Test {
  protected:
    Links() { fs::permissions(machine.path(""), fs::perms(0755)); }

    void linkIn(const std::string& folder) {
        machine.addProduct("sketch", "Sketch Pro", "17.2",
                           R"(, "extensionsFolder": ")" + folder + "\"");
    }

    void shell(const std::string& commands) {
        const Result result = run({"sh", "-euc", "cd \"$0\"; " + commands, machine.path("")});
        ASSERT_EQ(result.exitCode, 0) << result.err;
    }

    Result tavik(const List& arguments) { return machine.tavik(arguments); }

    /// The run with the call about this path failing, or stopping the process ("stop").
    Environment withFaultAt(const std::string& path, const std::string& fault) {
        Environment environment = machine.environment();
        environment.insert({{"LD_PRELOAD", TAVIK_FAULTS_LIBRARY},
                            {"ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0"},
                            {"FAULT_PATH", path},
                            {"FAULT", fault}});
        return environment;
    }

    static List command(List arguments) {
        arguments.insert(arguments.begin(), program("TavikCmd"));
        return arguments;
    }

    std::string version(const std::string& folder) const {
        const std::string path = folder + "/com.example.a/content.txt";
        return fs::exists(path) ? readFile(path) : "";
    }

    static bool dangles(const std::string& link) {
        return fs::is_symlink(fs::symlink_status(link)) && !fs::exists(link);
    }

    Machine machine;
};

// Root would follow another user's links, and make its own link or set rights where they lead.
TEST_F(Links, NobodyElseLeadsRootToAnotherFolder) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root is worth leading astray";
    const struct {
        const char* commands;  ///< in the machine's folder; $as does the rest as another user
        const char* folder;
        const char* refused;  ///< what the explanation names
    } rows[] = {
        {"$as ln -s ../private theirs/ext", "theirs/ext", "theirs: "},
        {"$as mkdir theirs/ext", "theirs/ext", "theirs: "},
        {"mkdir -m 777 open; $as ln -s ../private open/ext", "open/ext", "open: "},
        {"mkdir -m 770 open", "open/ext", "open: "},
        {"mkdir -m 1777 pub; $as mkdir pub/ext", "pub/ext", "pub/ext: "},
        {"mkdir -m 1777 pub; $as ln -s ../private pub/ext", "pub/ext", "pub/ext: "},
        // Other users can make a hard link to one of root's links.
        {"mkdir -m 1777 pub; ln -s ../private pub/ext", "pub/ext", "pub/ext: "},
        {"mkdir -m 1777 ext", "ext", "ext: "},
        {"ln -s theirs ours; $as mkdir theirs/ext", "ours/ext", "theirs: "},
        {"ln -s private/../theirs ours", "ours", "theirs: "},
        {"ln -s round round", "round/ext", "round: "},
        {"touch file; chmod 600 file", "file/ext", "file: "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.commands);
        shell(
            "rm -rf private theirs open pub ext ours round file; mkdir -m 700 private;"
            "mkdir theirs; chown 65534 theirs; echo kept > private/com.example.a;"
            "as='setpriv --reuid=65534 --regid=65534 --clear-groups'; " +
            std::string(row.commands));
        linkIn(machine.path(row.folder));
        const Result result = machine.install(machine.package("com.example.a", "1.0"));
        EXPECT_EQ(result.exitCode, 256 - 21) << result.err;
        EXPECT_NE(result.err.find("tavik: " + machine.path(row.refused)), std::string::npos)
            << result.err;
        EXPECT_EQ(namesIn(machine.path("private")), List{"com.example.a"});
        EXPECT_EQ(readFile(machine.path("private/com.example.a")), "kept\n");
        EXPECT_EQ(machine.listed(), List{});
        if (fs::exists(machine.path("file"))) {
            EXPECT_EQ(fs::status(machine.path("file")).permissions(), fs::perms(0600));
        }
    }
}

// What users and administrators have: /home is a link, /tmp is on the way, folders are missing.
TEST_F(Links, AFolderThatOnlyTheUserAndRootHaveASayInIsUsed) {
    const struct {
        const char* commands;
        const char* folder;
        const char* real;
    } rows[] = {
        {"true", "new/deep/ext", "new/deep/ext"},
        {"mkdir data; ln -s data home", "home/ext", "data/ext"},
        {"mkdir data; ln -s \"$0/data\" home", "home/ext", "data/ext"},
        {"mkdir -p data/x; ln -s data/x/../../data home", "home/ext", "data/ext"},
        {"mkdir -m 1777 pub; mkdir pub/mine", "pub/mine/ext", "pub/mine/ext"},
        {"mkdir -m 1777 pub", "pub/ext", "pub/ext"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.commands);
        shell("rm -rf user/QZ new data home pub");
        shell(row.commands);
        linkIn(machine.path(row.folder));
        const auto package = machine.package("com.example.a", "1.0");
        const mode_t old = ::umask(0077);
        const Result result = machine.install(package);
        ::umask(old);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(version(machine.path(row.real)), "1.0");
        EXPECT_EQ(fs::status(machine.path(row.real)).permissions(), fs::perms(0755));
    }
}

// The text of a user's own link begins like ours, but it leads out of the store.
TEST_F(Links, ALinkThatLeavesTheStoreIsNotOurs) {
    linkIn(machine.path("apps"));
    ASSERT_EQ(machine.install(machine.package("com.example.a", "1.0")).exitCode, 0);
    const std::pair<const char*, std::string> links[] = {
        {"yyy", machine.user("ext/x/../../../../kept")},
        {"zzz", machine.user("ext/../../../kept")},
        {"com.example.b", machine.user("ext/../../../kept")}};
    for (const auto& [name, target] : links)
        fs::create_symlink(target, machine.path("apps/") + name);
    EXPECT_EQ(machine.tavik({"repair"}, "tavik").exitCode, 0);
    EXPECT_EQ(machine.install(machine.package("com.example.b", "1.0")).exitCode, 256 - 21);
    EXPECT_EQ(machine.install(machine.package("com.example.a", "2.0")).exitCode, 0);
    EXPECT_EQ(version(machine.path("apps")), "2.0");
    for (const auto& [name, target] : links)
        EXPECT_EQ(fs::read_symlink(machine.path("apps/") + name), target) << name;
}

// The list would show 2.0 while the application's link leads to a deleted folder.
TEST_F(Links, TheOldFolderStaysUntilItsLinksAreGone) {
    const std::string links = machine.user("products/sketch/extensions");
    ASSERT_EQ(machine.install(machine.package("com.example.a", "1.0")).exitCode, 0);
    const auto update = command({"--install", machine.package("com.example.a", "2.0")});
    const auto another = command({"--install", machine.package("com.example.b", "1.0")});
    Environment faulty = withFaultAt(".com.example.a.new", std::to_string(EIO));
    for (const auto& change : {update, another}) {
        const Result result = run(change, faulty);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_NE(result.err.find("com.example.a: "), std::string::npos) << result.err;
        EXPECT_EQ(version(links), "1.0");
    }
    EXPECT_EQ(run(another, machine.environment()).err, "");
    EXPECT_EQ(version(links), "2.0");
    EXPECT_EQ(machine.garbage(), List{});

    faulty = withFaultAt("com.example.a", std::to_string(EIO));
    const auto removal = command({"--remove", "com.example.a"});
    for (const auto& change : {removal, another}) {
        EXPECT_EQ(run(change, faulty).exitCode, 0);
        EXPECT_EQ(version(links), "2.0");
    }
    EXPECT_EQ(run(another, machine.environment()).err, "");
    EXPECT_EQ(namesIn(links), List{"com.example.b"});
    EXPECT_EQ(machine.garbage(), List{});
}

TEST_F(Links, WhatIsMissingIsMadeAgainByTheNextChangeOrByEnabling) {
    const std::string links = machine.user("products/sketch/extensions");
    const auto own = machine.package("com.example.a", "1.0");
    const auto other = machine.package("com.example.b", "1.0");
    ASSERT_EQ(tavik({"--install", own, "--install", other}).exitCode, 0);
    const List changes[] = {{"--enable", "com.example.a"},
                            {"--install", own},
                            {"--install", other},
                            {"--disable", "com.example.b"}};
    for (const auto& change : changes)
        for (const std::string& lost : {links + "/com.example.a", links}) {
            SCOPED_TRACE(change[0] + " " + lost);
            fs::remove_all(lost);
            EXPECT_EQ(tavik(change).exitCode, 0);
            EXPECT_EQ(version(links), "1.0");
        }
}

// Enabling made a link to a folder that somebody had deleted, with which the host fails.
TEST_F(Links, EnablingWhatHasLostItsFilesIsRefusedAndInstallingItAgainRepairsIt) {
    const std::string links = machine.user("products/sketch/extensions");
    const auto package = machine.package("com.example.a", "1.0");
    ASSERT_EQ(tavik({"--install", package, "--disable", "com.example.a"}).exitCode, 0);
    for (const auto& name : namesIn(machine.user("ext")))
        fs::remove_all(machine.user("ext/" + name));
    const Result result = machine.tavik({"--enable", "com.example.a"});
    EXPECT_EQ(result.exitCode, 256 - 51) << result.err;
    EXPECT_EQ(namesIn(links), List{});
    EXPECT_EQ(machine.tavik({"--install", package, "--enable", "com.example.a"}).exitCode, 0);
    EXPECT_EQ(version(links), "1.0");
}

// A removal shows the shared copy instead, whose folder may be deleted at the same moment.
TEST_F(Links, AFolderOfBothStoresFollowsWhatEachOfThemCommitsMeanwhile) {
    const struct {
        List meanwhile;  ///< of the shared store, while the user's removal is about to link
        const char* then;
    } rows[] = {
        {{"--install_for_all", machine.package("com.example.a", "1.5")}, "1.5"},
        {{"--remove_for_all", "com.example.a"}, ""},
        {{"--list", "all"}, "1.0"},
    };
    const std::string links = machine.path("plug-ins");
    const std::string link = links + "/com.example.a";
    linkIn(links);
    const List prepare{"--install_for_all", machine.package("com.example.a", "1.0"), "--install",
                       machine.package("com.example.a", "2.0")};
    for (const auto& row : rows)
        for (const bool isKilled : {false, true}) {
            SCOPED_TRACE(row.meanwhile[0] + (isKilled ? ", then killed" : ""));
            tavik({"--remove", "com.example.a", "--remove_for_all", "com.example.a"});
            ASSERT_EQ(tavik(prepare).exitCode, 0);
            ASSERT_EQ(version(links), "2.0");
            Process removal(command({"--remove", "com.example.a"}),
                            withFaultAt(".com.example.a.new", "stop"));
            ASSERT_EQ(removal.line(), "stopped");
            ASSERT_EQ(tavik(row.meanwhile).exitCode, 0);
            removal.kill(isKilled ? SIGKILL : SIGCONT);
            removal.wait();
            if (isKilled) {
                ASSERT_EQ(tavik({"--install", machine.package("com.example.b", "1.0")}).exitCode,
                          0);
            }
            EXPECT_EQ(version(links), row.then);
            EXPECT_FALSE(dangles(link));
        }
}

// An interrupted change of one store is corrected by the next change of the other.
TEST_F(Links, ADanglingLinkInAFolderOfBothIsCorrectedByEitherStore) {
    const std::string links = machine.path("plug-ins");
    const std::string link = links + "/com.example.a";
    linkIn(links);
    ASSERT_EQ(tavik({"--install_for_all", machine.package("com.example.a", "1.0")}).exitCode, 0);
    fs::remove(link);
    fs::create_directory_symlink(machine.shared("ext/com.example.a@0123456789abcdef"), link);
    ASSERT_TRUE(dangles(link));
    ASSERT_EQ(tavik({"--install_for_all", machine.package("com.example.b", "1.0")}).exitCode, 0);
    EXPECT_EQ(version(links), "1.0");
}

// In such a folder the shared link takes the place of the one that the user has switched off.
TEST_F(Links, AFolderOfBothStoresShowsNothingThatTheUserHasSwitchedOff) {
    const std::string links = machine.path("plug-ins");
    linkIn(links);
    const auto loaded = [&] {
        return run({TAVIK_SAMPLE_HOST, machine.user(), machine.shared(), "sketch", links}).out;
    };
    const auto package = machine.package("com.example.a", "1.0");
    ASSERT_EQ(tavik({"--install_for_all", package, "--install", package}).exitCode, 0);
    EXPECT_EQ(loaded().find("com.example.a " + machine.user("ext/com.example.a@")), 0U);
    ASSERT_EQ(tavik({"--disable", "com.example.a"}).exitCode, 0);
    EXPECT_EQ(loaded(), "");
    ASSERT_EQ(tavik({"--enable", "com.example.a"}).exitCode, 0);
    EXPECT_EQ(loaded().find("com.example.a " + machine.user("ext/com.example.a@")), 0U);
}

TEST_F(Links, ChangesOfBothStoresAtOnceLeaveWhatTheListSays) {
    const std::string links = machine.path("plug-ins");
    linkIn(links);
    const List users{"--install", machine.package("com.example.a", "3.0"), "--remove",
                     "com.example.a"};
    const List shared{"--install_for_all", machine.package("com.example.a", "1.0"),
                      "--install_for_all", machine.package("com.example.a", "1.5"),
                      "--remove_for_all",  "com.example.a"};
    for (int round = 0; round < 20; ++round) {
        // Each round ends with other changes of the two stores.
        const auto part = [&](const List& all, int count) {
            return command(List(all.begin(), all.begin() + 2 * (1 + round % count)));
        };
        Process first(part(users, 2), machine.environment());
        Process second(part(shared, 3), machine.environment());
        first.wait();
        second.wait();
        const List listed = machine.listed();
        const std::string seen = version(links);
        EXPECT_EQ(listed, seen.empty() ? List{} : List{"Enabled com.example.a " + seen});
        EXPECT_FALSE(dangles(links + "/com.example.a"));
        tavik({"--remove", "com.example.a", "--remove_for_all", "com.example.a"});
    }
}

}  // namespace
}  // namespace tavik::testing
