#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "tests/support/Machine.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;
using List = std::vector<std::string>;

TEST(SharedStore, UsersCopyWinsAndEachIsRemovedByItsOwnCommand) {
    Machine machine;
    const std::string folder = machine.path("plug-ins");  // the product finds both stores' links
    machine.addProduct("sketch", "Sketch Pro", "17.2",
                       R"(, "extensionsFolder": ")" + folder + "\"");
    const auto expectSeen = [&](const std::string& version) {
        EXPECT_EQ(machine.listed(), List{"Enabled com.example.a " + version});
        EXPECT_EQ(readFile(folder + "/com.example.a/content.txt"), version);
    };
    const List installForAll{"--install_for_all", machine.package("com.example.a", "1.0")};
    ASSERT_EQ(machine.tavik(installForAll).exitCode, 0);
    expectSeen("1.0");
    ASSERT_EQ(machine.install(machine.package("com.example.a", "2.0")).exitCode, 0);
    expectSeen("2.0");
    ASSERT_EQ(machine.tavik(installForAll).exitCode, 0);
    expectSeen("2.0");

    ASSERT_EQ(machine.tavik({"--remove", "com.example.a"}).exitCode, 0);
    expectSeen("1.0");
    const Result result = machine.tavik({"--remove", "com.example.a"});
    EXPECT_EQ(result.exitCode, 256 - 10) << result.err;
    expectSeen("1.0");

    EXPECT_EQ(machine.tavik({"--remove_for_all", "com.example.a"}).exitCode, 0);
    EXPECT_EQ(machine.listed(), List{});
    EXPECT_EQ(namesIn(folder), List{});
    EXPECT_EQ(machine.tavik({"--remove_for_all", "com.example.a"}).exitCode, 256 - 7);
}

TEST(SharedStore, WhatIsSwitchedOffForAllStaysOff) {
    Machine machine;
    const std::string folder = machine.path("plug-ins");
    machine.addProduct("sketch", "Sketch Pro", "17.2",
                       R"(, "extensionsFolder": ")" + folder + "\"");
    ASSERT_EQ(
        machine.tavik({"--install_for_all", machine.package("com.example.a", "1.0")}).exitCode, 0);
    ASSERT_EQ(machine.tavik({"--disable", "com.example.a"}).exitCode, 0);
    EXPECT_EQ(machine.listed(), List{"Disabled com.example.a 1.0"});
    EXPECT_EQ(namesIn(folder), List{});
    ASSERT_EQ(machine.install(machine.package("com.example.a", "2.0")).exitCode, 0);
    EXPECT_EQ(namesIn(folder), List{"com.example.a"});
    ASSERT_EQ(machine.tavik({"--remove", "com.example.a"}).exitCode, 0);
    EXPECT_EQ(machine.listed(), List{"Disabled com.example.a 1.0"});
    EXPECT_EQ(namesIn(folder), List{});
}

// As in an administrator's script, which has no HOME.
TEST(SharedStore, IsFilledWithoutAHome) {
    Machine machine;
    const std::string place = machine.shared("products/sketch/extensions/com.example.a");
    fs::create_directories(machine.shared());
    fs::rename(machine.user("products.d"), machine.shared("products.d"));
    for (const char* variable : {"HOME", "TAVIK_HOME"})
        machine.environment().erase(variable);
    const List install{"--install_for_all", machine.package("com.example.a", "1.0")};
    fs::create_directories(fs::path(place).parent_path());
    fs::create_directory_symlink(machine.path("work"), place);
    EXPECT_EQ(machine.tavik(install).exitCode, 256 - 21);
    EXPECT_EQ(fs::read_symlink(place), machine.path("work"));
    fs::remove(place);
    const Result result = machine.tavik(install);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(readFile(place + "/content.txt"), "1.0");
}

// Root with a user's environment, as with sudo -E: a shared change needs nothing of that user.
TEST(SharedStore, IsChangedByRootWhateverUsersStoreTheVariablesName) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a store to another user";
    Machine machine;
    fs::create_directories(machine.shared());
    fs::copy(machine.user("products.d"), machine.shared("products.d"));
    ASSERT_EQ(machine.install(machine.package("com.example.own", "1.0")).exitCode, 0);
    for (const std::string folder : {"", "products.d"})
        ASSERT_EQ(::chown(machine.user(folder).c_str(), 65534, 65534), 0);
    const auto expectDone = [&](const List& command) {
        const Result result = machine.tavik(command);
        EXPECT_EQ(result.exitCode, 0) << command[0] << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_NE(result.err.find(machine.path("user")), std::string::npos) << result.err;
    };
    expectDone({"--install_for_all", machine.package("com.example.a", "1.0")});
    EXPECT_EQ(namesIn(machine.shared("products/sketch/extensions")), List{"com.example.a"});
    expectDone({"--remove_for_all", "com.example.a"});
    expectDone({"--list", "all"});
    // What is about the own store alone fails.
    EXPECT_EQ(machine.install(machine.package("com.example.own", "2.0")).exitCode, 256 - 21);
}

// Root would make folders where a link in another user's home leads, take a store there for its
// own, or leave folders of its own in that home.
TEST(SharedStore, RootIsNotLedByAnotherUsersHome) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root is worth leading astray";
    Machine machine;
    fs::permissions(machine.path(""), fs::perms(0755));
    fs::create_directories(machine.shared());
    fs::copy(machine.user("products.d"), machine.shared("products.d"));
    const auto package = machine.package("com.example.a", "1.0");
    machine.environment()["TAVIK_HOME"] = machine.path("roots/tavik");
    fs::create_directories(machine.path("roots/tavik"));
    fs::copy(machine.user(), machine.path("roots/tavik/QZ"), fs::copy_options::recursive);
    ASSERT_EQ(machine.install(package).exitCode, 0);
    const struct {
        const char* commands;  ///< in the home, as its user
        const char* variable;
        const char* value;
        bool isThere;  ///< whether the variable leads to a store
    } rows[] = {
        {"true", "HOME", "home", false},
        {"true", "TAVIK_HOME", "home/store", false},
        {"true", "XDG_DATA_HOME", "home/data", false},
        {"mkdir .local; ln -s ../../empty .local/share", "HOME", "home", false},
        {"mkdir .local; ln -s ../../roots .local/share", "HOME", "home", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.commands) + ' ' + row.variable);
        const std::string script =
            "cd '" + machine.path("") +
            "'; rm -rf home empty; mkdir -m 755 home empty;"
            "chown 65534 home; cd home; setpriv --reuid=65534 --regid=65534 --clear-groups "
            "sh -euc '" +
            row.commands + "'";
        ASSERT_EQ(run({"sh", "-euc", script}).exitCode, 0);
        const auto before = run({"find", machine.path("home")}).out;
        for (const char* variable : {"TAVIK_HOME", "HOME", "XDG_DATA_HOME"})
            machine.environment()[variable] = "";
        machine.environment()[row.variable] = machine.path(row.value);
        Result result = machine.install(package);
        EXPECT_EQ(result.exitCode, 256 - 21) << result.err;
        EXPECT_NE(result.err.find(std::string("; ") + row.variable + " leads there"),
                  std::string::npos)
            << result.err;
        EXPECT_EQ(run({"find", machine.path("home")}).out, before);
        EXPECT_EQ(namesIn(machine.path("empty")), List{});
        result = machine.tavik({"--list", "all"});
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.out.find("com.example.a"), std::string::npos) << result.out;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), row.isThere ? 1 : 0)
            << result.err;
    }
}

TEST(SharedStore, EverythingIsReadableByAllWhateverTheUmask) {
    for (const mode_t mask : {0000U, 0077U}) {
        Machine machine;
        const auto path = machine.package(PackageBuilder("com.example.a", "1.0")
                                              .file("folder/content.txt", "1", 0100600)
                                              .file("run.sh", "#!/bin/sh", 0100700)
                                              .folder("empty", 040700));
        const mode_t old = ::umask(mask);
        const Result result = machine.tavik({"--install_for_all", path});
        ::umask(old);
        ASSERT_EQ(result.exitCode, 0) << result.err;
        for (const auto& entry : fs::recursive_directory_iterator(machine.shared())) {
            const auto name = entry.path().filename();
            if (entry.is_symlink() || name == ".lock")
                continue;
            const bool executable = entry.is_directory() || name == "run.sh";
            EXPECT_EQ(entry.status().permissions(), fs::perms(executable ? 0755 : 0644))
                << entry.path() << mask;
        }
    }
}

TEST(SharedStore, OrdinaryUserListsItButMayNotChangeIt) {
    Machine machine;
    fs::permissions(machine.path(""), fs::perms(0755));  // a temporary folder is for its owner only
    const auto path = machine.package("com.example.a", "1.0");
    fs::create_directories(machine.shared("products.d"));
    fs::copy(machine.user("products.d/sketch.json"), machine.shared("products.d"));
    ASSERT_EQ(machine.tavik({"--install_for_all", path}).exitCode, 0);

    // A user without a store of his own, and without the right to write to that of all.
    machine.environment()["TAVIK_HOME"] = machine.path("nobody");
    for (const char* folder : {"", "ext", "staging", "products/sketch/extensions"})
        fs::permissions(machine.shared(folder), fs::perms(0555));
    machine.runAs(Machine::As::ordinaryUser);
    Result result = machine.tavik({"--list", "all"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.out.find("com.example.a"), std::string::npos) << result.out;

    const List commands[] = {{"--install_for_all", machine.package("com.example.a", "2.0")},
                             {"--remove_for_all", "com.example.a"},
                             {"--disable", "com.example.a"}};
    for (const auto& command : commands) {
        result = machine.tavik(command);
        EXPECT_EQ(result.exitCode, 256 - 25) << command[0] << ": " << result.err;
        EXPECT_NE(result.err.find("the right to do this is missing"), std::string::npos);
    }
    for (const char* folder : {"", "ext", "staging", "products/sketch/extensions"})
        fs::permissions(machine.shared(folder), fs::perms(0755));
}

// A right that an administrator had taken or given too freely stopped all that a user has of his
// own.
TEST(SharedStore, OneThatIsNotUsableIsLeftOutOfAUsersLists) {
    const struct {
        const char* path;
        mode_t mode;
        int ownChange;  ///< its exit status: without descriptors nobody knows where links belong
    } rows[] = {{"store.db", 0600, 0},
                {"", 0700, 256 - 25},
                {"", 0777, 256 - 21},
                {"products.d", 0777, 256 - 21}};
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.path) + std::to_string(row.mode));
        Machine machine;
        fs::permissions(machine.path(""), fs::perms(01777));
        fs::create_directories(machine.shared("products.d"));
        fs::copy(machine.user("products.d/sketch.json"), machine.shared("products.d"));
        ASSERT_EQ(
            machine.tavik({"--install_for_all", machine.package("com.example.s", "1.0")}).exitCode,
            0);
        const auto own = machine.package("com.example.a", "1.0");
        fs::permissions(own, fs::perms(0644));
        fs::remove_all(machine.path("user"));
        machine.runAs(Machine::As::ordinaryUser);
        ASSERT_EQ(machine.install(own).exitCode, 0);
        const fs::perms before = fs::status(machine.shared(row.path)).permissions();
        fs::permissions(machine.shared(row.path), fs::perms(row.mode));
        const Result list = machine.tavik({"--list", "all"});
        const Result change = machine.tavik({"--disable", "com.example.a"});
        const Result again = machine.tavik({"--list", "all"});
        machine.runAs(Machine::As::owner);
        machine.environment()["TAVIK_HOME"] = machine.path("root");
        const Result forAll = machine.tavik({"--remove_for_all", "com.example.s"});
        fs::permissions(machine.shared(row.path), before);
        if (::geteuid() == 0 || row.mode == 0777) {
            EXPECT_EQ(list.exitCode, 0) << list.err;
            EXPECT_EQ(std::count(list.err.begin(), list.err.end(), '\n'), 1) << list.err;
            EXPECT_NE(list.err.find(machine.path("shared")), std::string::npos) << list.err;
            EXPECT_EQ(change.exitCode, row.ownChange) << change.err;
            EXPECT_EQ(again.err, list.err);
            EXPECT_EQ(fs::exists(machine.user("staging/unfinished")), false);
        }
        EXPECT_EQ(forAll.exitCode, row.mode == 0777 ? 256 - 21 : 0) << forAll.err;
    }
}

// A product whose folder only an administrator may change, and a store that only its user may read.
TEST(SharedStore, WhereTheHostsFolderIsClosedNothingIsInstalled) {
    Machine machine;
    fs::permissions(machine.path(""), fs::perms(01777));
    const std::string folder = machine.path("plug-ins");
    fs::create_directories(folder);
    fs::create_directories(machine.shared());
    fs::rename(machine.user("products.d"), machine.shared("products.d"));
    writeFile(machine.shared("products.d/.sketch.json"), "{\"half");  // being written
    machine.environment()["TAVIK_HOME"] = machine.path("hers");
    const List install{"--install", machine.package("com.example.a", "1.0")};
    machine.runAs(Machine::As::ordinaryUser);
    ASSERT_EQ(machine.tavik(install).exitCode, 0);
    EXPECT_EQ(fs::status(machine.path("hers")).permissions(), fs::perms(0700));

    machine.environment()["TAVIK_HOME"] = machine.path("his");
    writeFile(machine.shared("products.d/sketch.json"),
              R"({"name": "sketch", "displayName": "Sketch Pro", "version": "17.2",)"
              R"( "extensionsFolder": ")" +
                  folder + "\"}");
    fs::permissions(folder, fs::perms(0555));
    const Result result = machine.tavik(install);
    fs::permissions(folder, fs::perms(0755));
    EXPECT_EQ(result.exitCode, 256 - 25) << result.err;
    EXPECT_NE(result.err.find(folder), std::string::npos) << result.err;
    const std::string listed = machine.tavik({"--list", "all"}).out;
    EXPECT_EQ(listed.find("com.example.a"), std::string::npos) << listed;
    EXPECT_EQ(namesIn(folder), List{});
}

// Root's folder inside an extension: a user cannot delete it, and is told once.
TEST(SharedStore, WhatMayNotBeDeletedIsSetAsideAndNamedOnce) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can make a folder that its user may not delete";
    Machine machine;
    fs::permissions(machine.path(""), fs::perms(0755));
    fs::create_directories(machine.shared("products.d"));
    fs::copy(machine.user("products.d/sketch.json"), machine.shared("products.d"));
    const std::string home = machine.path("nobody");
    fs::create_directory(home);
    ASSERT_EQ(::chown(home.c_str(), 65534, 65534), 0);
    machine.environment()["TAVIK_HOME"] = home;
    const auto package = machine.package("com.example.a", "1.0");
    machine.runAs(Machine::As::ordinaryUser);
    Result result = machine.tavik({"--install", package});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const std::string store = home + "/QZ/";
    writeFile(store + "ext/" + namesIn(store + "ext")[0] + "/roots/file.txt", "x");

    result = machine.tavik({"--remove", "com.example.a"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.err.find(store + "set-aside/"), std::string::npos) << result.err;
    result = machine.tavik({"--install", package});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(namesIn(store + "staging"), List{});
}

}  // namespace
}  // namespace tavik::testing
