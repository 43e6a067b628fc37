#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <filesystem>
#include <functional>

#include "tests/support/Machine.h"

// What a lost database, an interrupted change or a failing call must not take from the user.

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;
using List = std::vector<std::string>;

constexpr const char* kA = "com.example.a";

class NothingLost : public ::testing::Test {
  protected:
    NothingLost() { install("1.0"); }

    void install(const std::string& version) {
        EXPECT_EQ(machine_.install(machine_.package(kA, version)).exitCode, 0);
    }

    std::string folder() const {
        for (const auto& name : namesIn(machine_.user("ext")))
            if (fs::is_directory(machine_.user("ext/" + name)))
                return name;
        return {};
    }

    Environment withFaultAt(const std::string& path, const std::string& fault) const {
        Environment environment = machine_.environment();
        environment.insert({{"LD_PRELOAD", TAVIK_FAULTS_LIBRARY},
                            {"ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0"},
                            {"FAULT_PATH", path},
                            {"FAULT", fault}});
        return environment;
    }

    /// A list repairs what it finds and warns of it; the next one shows what is there then.
    List listedAfterRepair() const {
        machine_.tavik({"--list", "all"});
        return machine_.listed();
    }

    void mark() const { writeFile(machine_.user("staging/unfinished"), ""); }

    Machine machine_;
};

// A user's extension was on again once the database was gone, with and without its last version.
TEST_F(NothingLost, SwitchedOffOutlivesTheDatabase) {
    ASSERT_EQ(machine_.tavik({"--disable", kA}).exitCode, 0);
    fs::remove(machine_.user("store.db"));
    EXPECT_EQ(listedAfterRepair(), List{"Disabled com.example.a 1.0"});
    fs::remove(machine_.user("store.db"));
    fs::remove(machine_.user("store.db.previous"));
    EXPECT_EQ(listedAfterRepair(), List{"Disabled com.example.a 1.0"});
    EXPECT_TRUE(fs::exists(machine_.user("products/sketch/disabled/com.example.a")));
}

// A list deleted whatever stood in ext/ without a row, once a change had been interrupted.
TEST_F(NothingLost, AMarkDeletesNothingThatNoChangeMade) {
    writeFile(machine_.user("ext/mynotes/mine.txt"), "mine");
    mark();
    EXPECT_NE(machine_.tavik({"--list", "all"}).err.find("mynotes"), std::string::npos);
    const List aside = namesIn(machine_.user("set-aside"));
    ASSERT_EQ(aside.size(), 1U);
    EXPECT_EQ(readFile(machine_.user("set-aside/" + aside[0] + "/mynotes/mine.txt")), "mine");
}

// The only folder of an extension was deleted where a backup was older than it.
TEST_F(NothingLost, AnOlderDatabaseWithAMarkGetsTheFolderThatIsThere) {
    fs::copy(machine_.user("store.db"), machine_.path("backup"));
    install("2.0");
    fs::copy(machine_.path("backup"), machine_.user("store.db"),
             fs::copy_options::overwrite_existing);
    mark();
    EXPECT_EQ(listedAfterRepair(), List{"Enabled com.example.a 2.0"});
    EXPECT_EQ(machine_.seenByHost(kA), "2.0");
}

// The extension was dropped without a word.
TEST_F(NothingLost, AnExtensionWithoutAFileOutlivesTheDatabase) {
    fs::remove(machine_.user("ext/" + folder() + "/content.txt"));
    fs::remove(machine_.user("store.db"));
    fs::remove(machine_.user("store.db.previous"));
    EXPECT_EQ(listedAfterRepair(), List{"Enabled com.example.a 1.0"});
}

// The note of the last change hid a link that was lost in a folder outside the store.
TEST_F(NothingLost, ALinkInAFolderOfTheHomeIsMadeAgain) {
    machine_.environment()["HOME"] = machine_.path("home");
    fs::create_directory(machine_.path("home"));
    machine_.addProduct("sketch", "Sketch Pro", "17.2", R"(, "extensionsFolder": "~/sk/ext")");
    const std::string link = machine_.path("home/sk/ext/com.example.a");
    for (int i = 0; i < 2; ++i)
        for (const char* option : {"--disable", "--enable"})
            ASSERT_EQ(machine_.tavik({option, kA}).exitCode, 0);
    ASSERT_TRUE(fs::remove(link));
    ASSERT_EQ(machine_.install(machine_.package("com.example.b", "1.0")).exitCode, 0);
    EXPECT_TRUE(fs::exists(link));
}

// The change waited for a reader of the pipe, with the lock.
TEST_F(NothingLost, APipeInThePlaceOfTheNoteHoldsNothingUp) {
    fs::remove(machine_.user(".settled"));
    ASSERT_EQ(::mkfifo(machine_.user(".settled").c_str(), 0600), 0);
    for (const char* option : {"--disable", "--enable", "--disable"}) {
        Process change({program("TavikCmd"), option, kA}, machine_.environment());
        EXPECT_EQ(change.wait(std::chrono::seconds(10)).exitCode, 0);
    }
}

// A shared store of a newer version refused the user's own changes while he masked something.
TEST_F(NothingLost, AnUnusableSharedStoreStopsNoChangeOfTheUsers) {
    ASSERT_EQ(
        machine_.tavik({"--install_for_all", machine_.package("com.example.s", "1.0")}).exitCode,
        0);
    fs::permissions(machine_.shared("store.db"), fs::perms(0666));
    writeFile(machine_.user("products/sketch/disabled/com.example.s"), "");
    const Result change = machine_.install(machine_.package("com.example.b", "1.0"));
    EXPECT_EQ(change.exitCode, 0) << change.err;
}

// Links kept the old path: hosts found nothing, and reinstalling answered that they are not ours.
TEST_F(NothingLost, AStoreThatWasMovedGetsItsLinksBack) {
    const auto rename = [](const auto& from, const auto& to) { fs::rename(from, to); };
    const auto copy = [](const auto& from, const auto& to) {
        fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    };
    const auto b = machine_.package("com.example.b", "1.0");
    const List list{"--list", "all"};
    const struct {
        const char* folder;  ///< that the descriptor names
        std::function<void(const std::string&, const std::string&)> move;
        List command;
    } rows[] = {{"", rename, list},
                {"", copy, list},
                {"", rename, {"--install", b}},
                {"", rename, {"--enable", kA}},
                {"plug-ins", rename, list},
                {"plug-ins", rename, {"--install", machine_.package(kA, "1.0")}}};
    int number = 0;
    std::string home = machine_.path("user");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.command[0] + " " + row.folder + std::to_string(number));
        const std::string folder = row.folder[0] == 0 ? "" : machine_.path(row.folder);
        writeFile(home + "/QZ/products.d/sketch.json",
                  R"({"name": "sketch", "displayName": "Sketch Pro", "version": "1",)"
                  R"( "extensionsFolder": ")" +
                      folder + "\"}");
        for (const char* option : {"--disable", "--enable"})
            ASSERT_EQ(machine_.tavik({option, kA}).exitCode, 0);
        const std::string moved = machine_.path("moved" + std::to_string(number++));
        row.move(home, moved);
        machine_.environment()["TAVIK_HOME"] = home = moved;
        const std::string before = readFile(home + "/QZ/store.db");
        const Result result = machine_.tavik(row.command);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.err, "");
        const std::string link =
            (folder.empty() ? home + "/QZ/products/sketch/extensions" : folder) + "/" + kA;
        EXPECT_EQ(fs::read_symlink(link).string().find(home + "/QZ/ext/"), 0U);
        EXPECT_EQ(readFile(link + "/content.txt"), "1.0");
        EXPECT_NE(readFile(home + "/QZ/store.db"), before) << "the next list does it again";
        const auto database = fs::last_write_time(home + "/QZ/store.db");
        EXPECT_EQ(machine_.tavik(list).err, "");
        EXPECT_EQ(fs::last_write_time(home + "/QZ/store.db"), database) << "each list changes it";
    }
}

// Another store's link, to a disk that is away, was taken for that of a store that had moved.
TEST_F(NothingLost, ADanglingLinkOfAnotherStoreStays) {
    const std::string folder = machine_.path("plug-ins");
    machine_.addProduct("sketch", "Sketch Pro", "1", R"(, "extensionsFolder": ")" + folder + '"');
    ASSERT_EQ(machine_.tavik({"--disable", kA}).exitCode, 0);
    const std::string target = "/away/QZ/ext/com.example.a@0123456789abcdef";
    fs::create_directories(folder);
    fs::create_directory_symlink(target, folder + "/" + kA);
    EXPECT_EQ(machine_.tavik({"--enable", kA}).exitCode, 256 - 21);
    EXPECT_EQ(fs::read_symlink(folder + "/" + kA), target);
}

// What an administrator had switched off was on again once both databases were gone.
TEST_F(NothingLost, SwitchedOffForAllOutlivesBothDatabases) {
    fs::create_directories(machine_.shared());
    fs::rename(machine_.user("products.d"), machine_.shared("products.d"));
    const auto other = machine_.package(
        PackageBuilder("com.example.other", "1.0").with("products", R"([{"name": "sketch"},
                                                  {"name": "gone"}])"));
    const auto tooNew = [&](const std::string& version) {
        return machine_.package(
            PackageBuilder("com.example.new", version)
                .with("products",
                      R"([{"name": "sketch", "minVersion": "99"}, {"name": "layout"}])"));
    };
    const std::string layout = machine_.shared("products.d/layout.json");
    const std::string descriptor = R"({"name": "layout", "displayName": "Layout", "version": "1"})";
    writeFile(layout, descriptor);
    for (const auto& path : {machine_.package("com.example.s", "1.0"), other, tooNew("0.9")})
        ASSERT_EQ(machine_.tavik({"--install_for_all", path}).exitCode, 0);

    // The version before names only the folder before an update, and no product tells the states
    // any more: one is gone, and the other has another folder now.
    ASSERT_EQ(machine_.tavik({"--disable", "com.example.new"}).exitCode, 0);
    ASSERT_EQ(machine_.tavik({"--install_for_all", tooNew("1.0")}).exitCode, 0);
    fs::remove(layout);
    const std::string sketch = machine_.shared("products.d/sketch.json");
    const std::string before = readFile(sketch);
    fs::create_directory(machine_.path("folder"));
    writeFile(sketch, R"({"name": "sketch", "displayName": "Sketch Pro", "version": "17.2",)"
                      R"( "extensionsFolder": ")" +
                          machine_.path("folder") + "\"}");
    fs::remove(machine_.shared("store.db"));
    machine_.tavik({"--list", "all"});
    EXPECT_EQ(machine_.listed(),
              (List{"Enabled com.example.a 1.0", "Disabled com.example.new 1.0",
                    "Enabled com.example.other 1.0", "Enabled com.example.s 1.0"}));
    writeFile(layout, descriptor);
    writeFile(sketch, before);
    ASSERT_EQ(machine_.tavik({"--enable", "com.example.new"}).exitCode, 0);

    ASSERT_EQ(machine_.tavik({"--disable", "com.example.s"}).exitCode, 0);
    // The last change is not in the version before.
    for (const bool isAllLost : {false, true}) {
        fs::remove(machine_.shared("store.db"));
        if (isAllLost)
            fs::remove(machine_.shared("store.db.previous"));
        if (isAllLost)
            fs::remove(layout);
        const Result rebuilt = machine_.tavik({"--list", "all"});
        EXPECT_EQ(machine_.listed(),
                  (List{"Enabled com.example.a 1.0", "Enabled com.example.new 1.0",
                        "Enabled com.example.other 1.0", "Disabled com.example.s 1.0"}));
        const auto said = rebuilt.err.find("not known whether they were: com.example.new");
        EXPECT_EQ(said != std::string::npos, isAllLost) << rebuilt.err;
    }
}

// A list that had repaired the database took away the mark of whoever had the lock after it.
TEST_F(NothingLost, TheMarkOfAnotherProcessStays) {
    fs::remove(machine_.user("store.db"));
    fs::remove(machine_.user(".reserve"));
    Process list({program("TavikCmd"), "--list", "all"}, withFaultAt(".reserve", "stop"));
    ASSERT_EQ(list.line(), "stopped");
    siginfo_t stopped{};  // it says so just before it stops
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(list.pid()), &stopped, WSTOPPED | WNOWAIT), 0);
    mark();
    list.kill(SIGCONT);
    list.wait();
    EXPECT_TRUE(fs::exists(machine_.user("staging/unfinished")));
}

}  // namespace
}  // namespace tavik::testing
