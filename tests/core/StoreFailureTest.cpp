#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/Machine.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;

// Each cause has its own status, for a change and for a list, and changes nothing.
TEST(StoreFailure, EachTroubleHasItsOwnStatus) {
    const struct {
        const char* commands;  ///< that make the trouble, in the machine's folder
        int status;
        const char* named;  ///< what the explanation names
    } rows[] = {
        {"cd user/QZ; head -c -16 store.db > x; printf '\\143' | dd of=x bs=1 seek=63 conv=notrunc;"
         " mv x store.db",
         -22, "version 99"},
        {"chmod 666 user/QZ/store.db", -21, "store.db"},
        {"cd user/QZ; rm store.db; mkfifo -m 666 store.db", -21, "store.db"},
        {"mv user real; ln -s real user", -21, "user: "},
        {"chmod 777 user/QZ", -21, "user/QZ"},
        {"chmod 770 user", -21, "user: "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.commands);
        Machine machine;
        const auto path = machine.package("com.example.a", "1.0");
        ASSERT_EQ(machine.install(path).exitCode, 0);
        ASSERT_EQ(run({"sh", "-euc", "cd \"$0\"; " + std::string(row.commands), machine.path("")})
                      .exitCode,
                  0);
        const Result change = machine.install(path);
        EXPECT_EQ(change.exitCode, 256 + row.status) << change.err;
        EXPECT_NE(change.err.find(row.named), std::string::npos) << change.err;
        EXPECT_EQ(machine.tavik({"--list_as_xml", "all"}).exitCode, 256 + row.status);
    }
}

// Something foreign in the place of the lock was called a failing disk, a link to nowhere was no
// trouble to a removal, or what it named was made. It keeps changes from being made, and no list.
TEST(StoreFailure, WhatStandsInTheWayOfAChangeIsNamed) {
    const struct {
        const char* commands;
        const char* named;
    } rows[] = {
        {"cd user/QZ; rm .lock; mkdir .lock", ".lock: "},
        {"cd user/QZ; rm -r products; ln -s ../../gone products", "QZ/products: "},
        {"cd user/QZ/products; rm -r sketch; ln -s ../../../gone sketch", "products/sketch: "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.commands);
        Machine machine;
        ASSERT_EQ(machine.install(machine.package("com.example.a", "1.0")).exitCode, 0);
        ASSERT_EQ(run({"sh", "-euc", "cd \"$0\"; " + std::string(row.commands), machine.path("")})
                      .exitCode,
                  0);
        const Result change = machine.install(machine.package("com.example.b", "1.0"));
        EXPECT_EQ(change.exitCode, 256 - 21) << change.err;
        EXPECT_NE(change.err.find(row.named), std::string::npos) << change.err;
        EXPECT_FALSE(fs::exists(machine.path("gone")));
        EXPECT_EQ(machine.tavik({"--list_as_xml", "all"}).exitCode, 0);
    }
}

// The folder's owner could put anything into it.
TEST(StoreFailure, WhatBelongsToAnotherUserIsNotUsed) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a folder away";
    for (const char* given : {"user", "user/QZ", "shared", "shared/QZ", "shared/QZ/policy.json"}) {
        Machine machine;
        writeFile(machine.shared("policy.json"), "{}");
        ASSERT_EQ(::chown(machine.path(given).c_str(), 65534, 65534), 0);
        const Result result = machine.install(machine.package("com.example.a", "1.0"));
        EXPECT_EQ(result.exitCode, 256 - 21) << given << result.err;
        EXPECT_NE(result.err.find(machine.path(given) + ": "), std::string::npos) << result.err;
        EXPECT_EQ(namesIn(machine.user("ext")), std::vector<std::string>{});
    }
}

TEST(StoreFailure, ThePlaceOfTheStoreIsKnown) {
    Machine machine;
    machine.environment()["TAVIK_HOME"] = "here";
    EXPECT_NE(machine.tavik({"--list", "all"}).err.find("TAVIK_HOME=here"), std::string::npos);
    // With a slash at the end, the system would follow the link.
    fs::create_directory_symlink(machine.path("user"), machine.path("link"));
    for (const char* link : {"link", "link/", "user/../link//"}) {
        machine.environment()["TAVIK_HOME"] = machine.path(link);
        EXPECT_EQ(machine.tavik({"--list", "all"}).exitCode, 256 - 21) << link;
    }
    // Everything would be listed twice.
    fs::create_directories(machine.shared());
    fs::create_directory_symlink(machine.path(""), machine.path("double"));
    for (const char* same : {"shared", "double/shared"}) {
        machine.environment()["TAVIK_HOME"] = machine.path(same);
        const Result result = machine.tavik({"--list", "all"});
        EXPECT_EQ(result.exitCode, 256 - 20) << same;
        EXPECT_NE(result.err.find("TAVIK_HOME leads to the store for all users"), std::string::npos)
            << result.err;
    }
    machine.environment().erase("TAVIK_HOME");
    machine.environment().erase("HOME");
    EXPECT_EQ(machine.tavik({"--list", "all"}).exitCode, 256 - 20);
}

TEST(StoreFailure, ReadOnlyDiskIsSaidSo) {
    Machine machine;
    machine.environment()["LD_PRELOAD"] = TAVIK_FAULTS_LIBRARY;
    machine.environment()["ASAN_OPTIONS"] = "verify_asan_link_order=0:detect_leaks=0";
    machine.environment()["FAULT"] = std::to_string(EROFS);
    machine.environment()["FAULT_AT"] = "1";
    const Result result = machine.install(machine.package("com.example.a", "1.0"));
    EXPECT_EQ(result.exitCode, 256 - 27) << result.err;
    EXPECT_NE(result.err.find("the disk is read-only"), std::string::npos) << result.err;
}

TEST(StoreFailure, AFullDiskKeepsNobodyFromRemovingOrDisabling) {
    for (const char* command : {"--remove", "--disable"}) {
        Machine machine;
        ASSERT_EQ(machine.install(machine.package("com.example.a", "1.0")).exitCode, 0);
        machine.environment().insert({{"LD_PRELOAD", TAVIK_FAULTS_LIBRARY},
                                      {"ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0"},
                                      {"FAULT", std::to_string(ENOSPC)},
                                      {"FAULT_AT", "1"},
                                      {"FAULT_ONWARD", "1"},
                                      {"FAULT_FROM", "staging"},
                                      {"FAULT_RELIEF", ".reserve"}});
        const Result result = machine.tavik({command, "com.example.a"});
        EXPECT_EQ(result.exitCode, 0) << command << result.err;
        EXPECT_EQ(machine.garbage(), std::vector<std::string>{}) << command;
        EXPECT_EQ(machine.seenByHost("com.example.a"), "") << command;
    }
}

TEST(StoreFailure, ExplanationComesInTheLanguageOfTheLocale) {
    const Result result = Machine().tavik({"--locale", "fr_CA", "--remove", "none"});
    EXPECT_NE(result.err.find("aucune extension installée ne porte ce nom"), std::string::npos);
    EXPECT_EQ(result.out, "Failed to get extension handle by extension name, status = -7!\n");
}

TEST(StoreFailure, ListCreatesNothing) {
    Machine machine;
    fs::remove_all(machine.path("user"));
    const Result result = machine.tavik({"--list", "all", "--list_as_xml", "all"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_FALSE(fs::exists(machine.path("user")));
    EXPECT_FALSE(fs::exists(machine.path("shared")));
}

}  // namespace
}  // namespace tavik::testing
