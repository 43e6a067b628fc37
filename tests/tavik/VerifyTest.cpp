#include <filesystem>

#include "tests/tavik/Front.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;
using List = std::vector<std::string>;

class Verify : public Front {
  protected:
    Verify() {
        install("com.example.a", "1.0");
        install("com.example.b", "1.0");
    }

    /// "PROBLEM ID" of each.
    List problems(int exitStatus, std::vector<std::string> arguments = {}) {
        arguments.insert(arguments.begin(), "verify");
        const auto document = json(exitStatus, arguments);
        List found;
        for (const auto& each : document["problems"].GetArray())
            found.push_back(text(each, "problem") + " " + text(each, "id"));
        return found;
    }

    std::string folder(const std::string& id) {
        return text(json(kDone, {"info", id})["extension"], "folder");
    }
    std::string link(const std::string& id) const {
        return machine_.user("products/sketch/extensions/" + id);
    }
};

// Catches a file that differs from what was installed and passes for sound.
TEST_F(Verify, FindsFilesThatDiffer) {
    const std::string path = machine_.package(PackageBuilder("com.example.c", "1.0")
                                                  .file("bin/run", "#!/bin/sh", 0100755)
                                                  .file("data/a.txt", std::string(100'000, 'a'))
                                                  .file("data/b.txt", "b"));
    out(kDone, {"install", path});
    const std::string c = folder("com.example.c");
    const std::string data = c + "/data/a.txt";
    std::string bytes = readFile(data);
    bytes[99'999] = 'b';
    writeFile(data, bytes);
    EXPECT_EQ(problems(kPending), List{"changed com.example.c"});
    bytes[99'999] = 'a';
    writeFile(data, bytes + "a");
    EXPECT_EQ(problems(kPending), List{"changed com.example.c"});
    writeFile(data, bytes);
    EXPECT_EQ(problems(kDone), List{});

    fs::remove(c + "/data/b.txt");
    writeFile(c + "/data/extra.txt", "b");
    fs::permissions(c + "/bin/run", fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(problems(kPending),
              (List{"rights com.example.c", "missing com.example.c", "extra com.example.c"}));
    // Nothing offers the version again: what somebody changed stays as it is, and is named.
    const auto document = json(kFailed, {"repair"});
    EXPECT_EQ(failures(document), List{"filesMissing com.example.c"});
    EXPECT_EQ(document["repairs"].Size(), 0U);
    EXPECT_EQ(document["left"].Size(), 3U);
    EXPECT_TRUE(fs::exists(c + "/data/extra.txt"));
    EXPECT_EQ(changes(json(kDone, {"install", path})),
              List{"reinstall com.example.c 1.0 1.0 user"});
    EXPECT_EQ(problems(kDone), List{});
}

// Catches a disk error that is taken for damage: a repair would then replace files that are sound.
TEST_F(Verify, FailureToReadIsNoDamage) {
    install(PackageBuilder("com.example.c", "1.0").file("data.txt", "sound"));
    publish({PackageBuilder("com.example.c", "1.0").file("data.txt", "sound")});
    const std::string c = folder("com.example.c");
    const Environment clean = machine_.environment();
    const auto expectFailure = [&](const char* verb, const Environment& faults) {
        machine_.environment().insert({{"LD_PRELOAD", TAVIK_FAULTS_LIBRARY},
                                       {"ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0"},
                                       {"FAULT", std::to_string(EIO)}});
        machine_.environment().insert(faults.begin(), faults.end());
        const auto document = json(kFailed, {verb});
        machine_.environment() = clean;
        EXPECT_EQ(failures(document), List{"inputOutput " + c + "/data.txt"}) << verb;
    };
    for (const char* verb : {"verify", "repair"}) {
        expectFailure(verb, {{"FAULT_PATH", "data.txt"}});
        // The calls after the opening: one looks at the open file, two read it.
        for (const char* call : {"1", "2", "3"})
            expectFailure(verb,
                          {{"FAULT_FROM", "data.txt"}, {"FAULT_KIND", "any"}, {"FAULT_AT", call}});
    }
    EXPECT_EQ(folder("com.example.c"), c);
    EXPECT_EQ(machine_.garbage(), List{});

    const std::string links = machine_.user("products/sketch/extensions");
    fs::rename(links, links + ".away");
    fs::create_symlink(links, links);  // leads to itself
    EXPECT_EQ(failures(json(kFailed, {"verify", "com.example.c"})),
              List{"inputOutput " + links + "/com.example.c"});
}

// Catches one folder that cannot be opened and keeps everything else from being checked.
TEST_F(Verify, WhatCannotBeReadHidesNothingElse) {
    install(PackageBuilder("com.example.a", "2.0").file("sub/text.txt", "text"));
    const std::string a = folder("com.example.a");
    fs::remove(folder("com.example.b") + "/content.txt");
    machine_.environment().insert({{"LD_PRELOAD", TAVIK_FAULTS_LIBRARY},
                                   {"ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0"},
                                   {"FAULT_PATH", "sub"},
                                   {"FAULT", std::to_string(EACCES)}});
    const auto document = json(kFailed, {"verify"});
    EXPECT_EQ(failures(document), List{"noPermission " + a + "/sub"});
    ASSERT_EQ(document["problems"].Size(), 1U);
    EXPECT_EQ(text(document["problems"][0], "id"), "com.example.b");
    EXPECT_EQ(problems(kPending, {"com.example.b"}), List{"missing com.example.b"});
    EXPECT_EQ(failures(json(kFailed, {"repair"})),
              (List{"noPermission " + a + "/sub", "filesMissing com.example.b"}));
}

// Catches a lost row that nobody misses, and what a repair leaves lost.
TEST_F(Verify, RepairBringsBackRowsAndLinks) {
    const std::string database = machine_.user("store.db");
    const std::string older = readFile(database);
    install("com.example.c", "1.0");
    writeFile(database, older);
    EXPECT_EQ(problems(kPending).size(), 2U);  // the folder, and the list of its files
    fs::remove(link("com.example.a"));
    const auto planned = json(kPending, {"repair", "--dry-run"});
    EXPECT_EQ(planned["repairs"].Size(), 3U);
    EXPECT_EQ(readFile(database), older);
    const auto done = json(kDone, {"repair"});
    EXPECT_EQ(done["repairs"].Size(), 3U);
    EXPECT_EQ(done["left"].Size(), 0U);
    EXPECT_EQ(problems(kDone), List{});
    EXPECT_EQ(listed().size(), 3U);
    EXPECT_EQ(machine_.seenByHost("com.example.a"), "1.0");
}

// Catches a list of files that lost its folder and stays for ever.
TEST_F(Verify, RepairSetsAListWithoutItsFolderAside) {
    const std::string orphan = folder("com.example.a") + "0.files";
    writeFile(orphan, "tavik-files 1\n");
    EXPECT_EQ(problems(kPending), List{"noRow -"});
    const auto done = json(kDone, {"repair"});
    EXPECT_EQ(done["repairs"].Size(), 1U);
    EXPECT_EQ(done["left"].Size(), 0U);
    EXPECT_FALSE(fs::exists(orphan));
    EXPECT_EQ(namesIn(machine_.user("set-aside")).size(), 1U);
    EXPECT_EQ(problems(kDone), List{});
}

// Catches a store whose database is lost or foreign, and with it what is installed.
TEST_F(Verify, RepairBuildsTheDatabaseAnew) {
    out(kDone, {"disable", "com.example.b"});
    // A state is known again from the database's version before the last change.
    install("com.example.a", "1.1");
    const List before = listed();
    const std::string database = machine_.user("store.db");
    const std::string sound = readFile(database);
    const std::string foreign = std::string("SQLite format 3\0", 16) + std::string(4080, '\0');
    const std::pair<const char*, std::string> rows[] = {{"deleted", ""},
                                                        {"truncated", sound.substr(0, 1000)},
                                                        {"noise", std::string(5000, '\x5A')},
                                                        {"foreign", foreign}};
    for (const auto& [name, bytes] : rows) {
        fs::remove(database);
        if (!bytes.empty())
            writeFile(database, bytes);
        EXPECT_EQ(problems(kPending), List{"database -"}) << name;
        EXPECT_EQ(json(kDone, {"doctor"})["stores"][0]["problems"].Size(), 1U) << name;
        // Lists say so and repair it as well.
        const char* verb = name == rows[0].first   ? "list"
                           : name == rows[1].first ? "history"
                                                   : "repair";
        const Result repaired = tavik({verb});
        EXPECT_EQ(repaired.exitCode, kDone) << name;
        EXPECT_NE(repaired.err.find("made anew"), std::string::npos) << name << repaired.err;
        EXPECT_EQ(problems(kDone), List{}) << name;
        EXPECT_EQ(listed(), before) << name;
    }
}

// Catches a change that leaves no line, or one that says something else.
TEST_F(Verify, HistoryHasEveryChange) {
    install("com.example.a", "1.5");
    out(kDone, {"disable", "com.example.a"});
    out(kDone, {"install", machine_.package("com.example.s", "1.0"), "--all-users"});
    out(kDone, {"disable", "com.example.s"});
    out(kDone, {"remove", "com.example.b"});
    const auto document = json(kDone, {"history"});
    List lines;
    for (const auto& each : document["changes"].GetArray())
        if (text(each, "scope") == "user")
            lines.push_back(text(each, "operation") + " " + text(each, "id") + " " +
                            text(each, "from") + " " + text(each, "to"));
    EXPECT_EQ(lines, (List{"install com.example.a - 1.0", "install com.example.b - 1.0",
                           "update com.example.a 1.0 1.5", "disable com.example.a 1.5 1.5",
                           "mask com.example.s 1.0 1.0", "remove com.example.b 1.0 -"}));
    EXPECT_EQ(json(kDone, {"history", "com.example.B"})["changes"].Size(), 2U);
    EXPECT_EQ(json(kDone, {"history", "--since", "2099-01-01"})["changes"].Size(), 0U);
    EXPECT_EQ(json(kDone, {"history", "--since", "2000-01-01"})["changes"].Size(), 7U);
    EXPECT_FALSE(document["changes"][0]["user"]["number"].IsNull());
    err(kUsage, {"history", "--since", "yesterday"});
}

// Catches damage that passes for a sound store, and a sound store that does not.
TEST_F(Verify, FindsWhatIsNotAsTheRowsSay) {
    EXPECT_EQ(problems(kDone), List{});
    const std::string a = folder("com.example.a");
    fs::rename(a, a + ".away");
    EXPECT_EQ(problems(kPending), (List{"noFolder com.example.a", "noRow -"}));
    EXPECT_EQ(problems(kDone, {"com.example.b"}), List{});
    EXPECT_EQ(problems(kPending, {"com.example.a"}), List{"noFolder com.example.a"});
    fs::rename(a + ".away", a);

    fs::remove(link("com.example.b"));
    EXPECT_EQ(problems(kPending), List{"noLink com.example.b"});
    fs::create_symlink(a, link("com.example.b"));
    EXPECT_EQ(problems(kPending), List{"wrongLink com.example.b"});
    fs::remove(link("com.example.b"));
    fs::create_symlink(folder("com.example.b"), link("com.example.b"));
    EXPECT_EQ(problems(kDone), List{});
}

// Catches a list that tells a state which the host application does not see, and a look that
// changes something although it says that it does not.
TEST_F(Verify, ListsFinishAnInterruptedChangeAndLooksDoNot) {
    const std::string struck = machine_.path("struck");
    const Environment clean = machine_.environment();
    for (int call = 1;; ++call) {
        SCOPED_TRACE("killed at call " + std::to_string(call));
        out(kDone, {"enable", "com.example.a"});
        fs::remove(struck);
        machine_.environment().insert({{"LD_PRELOAD", TAVIK_FAULTS_LIBRARY},
                                       {"ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0"},
                                       {"FAULT", "kill"},
                                       {"FAULT_AT", std::to_string(call)},
                                       {"FAULT_LOG", struck}});
        tavik({"disable", "com.example.a"});
        machine_.environment() = clean;
        if (!fs::exists(struck)) {
            EXPECT_GT(call, 5) << "the faults are not in effect";
            break;
        }
        const List staging = namesIn(machine_.user("staging"));
        tavik({"verify"});
        tavik({"update", "--all", "--dry-run"});
        tavik({"repair", "--dry-run"});
        EXPECT_EQ(namesIn(machine_.user("staging")), staging);
        const std::string table = out(kDone, {"list", "--user"});
        EXPECT_EQ(fs::is_symlink(link("com.example.a")),
                  table.find("disabled") == std::string::npos)
            << table;
        EXPECT_EQ(namesIn(machine_.user("staging")), List{});
    }
}

// Catches a link that stays although nobody should see the extension, and one that is missed where
// none belongs.
TEST_F(Verify, KnowsWhereLinksBelong) {
    const std::string target = folder("com.example.a");
    out(kDone, {"disable", "com.example.a"});
    EXPECT_EQ(problems(kDone), List{});
    fs::create_symlink(target, link("com.example.a"));
    EXPECT_EQ(problems(kPending), List{"wrongLink com.example.a"});
    fs::remove(link("com.example.a"));

    const std::string common = machine_.path("common");
    fs::create_directory(common);
    machine_.addProduct("sketch", "Sketch Pro", "17.2",
                        R"(, "extensionsFolder": ")" + common + '"');
    out(kDone, {"install", machine_.package("com.example.b", "2.0"), "--all-users"});
    install("com.example.c", "1.0");
    EXPECT_EQ(problems(kDone), List{});
}

}  // namespace
}  // namespace tavik::testing
