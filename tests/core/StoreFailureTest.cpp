#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "platform/support/Sqlite.h"
#include "tests/support/Machine.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;

void setUserVersion(const Machine& machine, const std::string& version) {
    Database database(machine.user("store.db"), SQLITE_OPEN_READWRITE, std::chrono::seconds(5));
    database.execute(("PRAGMA user_version = " + version).c_str());
}

struct Trouble {
    const char* name;
    std::function<void(Machine&)> make;
    int status;
    const char* named;  ///< what the explanation names
};

const Trouble kTroubles[] = {
    {"store of a newer schema", [](Machine& machine) { setUserVersion(machine, "99"); }, -22,
     "version 99"},
    {"another program's database",
     [](Machine& machine) {
         fs::remove(machine.user("store.db"));
         Database(machine.user("store.db"), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                  std::chrono::seconds(5))
             .execute("CREATE TABLE t (x)");
     },
     -23, "store.db"},
    {"damaged database",
     [](Machine& machine) { writeFile(machine.user("store.db"), std::string(9000, 'x')); }, -23,
     "store.db"},
    {"database that is a link",
     [](Machine& machine) {
         fs::rename(machine.user("store.db"), machine.path("real.db"));
         fs::create_symlink(machine.path("real.db"), machine.user("store.db"));
     },
     -21, "store.db"},
    {"store that is a link",
     [](Machine& machine) {
         fs::rename(machine.path("user"), machine.path("real"));
         fs::create_directory_symlink(machine.path("real"), machine.path("user"));
     },
     -21, "user: "},
    {"family folder that others may write to",
     [](Machine& machine) { fs::permissions(machine.user(), fs::perms(0777)); }, -21, "user/QZ"},
    {"store that its group may write to",
     [](Machine& machine) { fs::permissions(machine.path("user"), fs::perms(0770)); }, -21,
     "user: "},
    {"missing home",
     [](Machine& machine) {
         machine.environment().erase("TAVIK_HOME");
         machine.environment().erase("HOME");
     },
     -20, "HOME"},
    {"relative TAVIK_HOME", [](Machine& machine) { machine.environment()["TAVIK_HOME"] = "here"; },
     -20, "TAVIK_HOME=here"},
    {"broken product descriptor",
     [](Machine& machine) { writeFile(machine.user("products.d/bad.json"), "{\"name\": 1}"); }, -29,
     "products.d/bad.json"},
    {"product descriptor under another name",
     [](Machine& machine) {
         fs::copy(machine.user("products.d/sketch.json"), machine.user("products.d/x.json"));
     },
     -29, "products.d/x.json"},
};

// Each is its own clear failure, for a change and for a list, and harms nothing.
TEST(StoreFailure, EachTroubleHasItsOwnStatus) {
    for (const auto& trouble : kTroubles) {
        Machine machine;
        const auto path = machine.package("com.example.a", "1.0");
        ASSERT_EQ(machine.install(path).exitCode, 0);
        trouble.make(machine);
        const Result change = machine.install(path);
        EXPECT_EQ(change.exitCode, 256 + trouble.status) << trouble.name << ": " << change.err;
        EXPECT_NE(change.err.find(trouble.named), std::string::npos)
            << trouble.name << ": " << change.err;
        const Result list = machine.tavik({"--list_as_xml", "all"});
        EXPECT_EQ(list.exitCode, 256 + trouble.status) << trouble.name << ": " << list.err;
    }
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

TEST(StoreFailure, ExplanationComesInTheLanguageOfTheLocale) {
    const struct {
        const char* locale;
        const char* text;
    } rows[] = {{"fr_CA", "aucune extension installée ne porte ce nom"},
                {"de_DE", "keine installierte Erweiterung hat diesen Namen"},
                {"ja_JP", "この名前または ID の拡張機能はありません"},
                {"xx", "no installed extension has this name or id"}};
    for (const auto& row : rows) {
        Machine machine;
        const Result result = machine.tavik({"--locale", row.locale, "--remove", "none"});
        EXPECT_NE(result.err.find(row.text), std::string::npos) << row.locale << result.err;
        EXPECT_EQ(result.out, "Failed to get extension handle by extension name, status = -7!\n");
    }
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
