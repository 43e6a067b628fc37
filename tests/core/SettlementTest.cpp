#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "tests/support/Machine.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;
using List = std::vector<std::string>;

constexpr const char* kLinks = "products/sketch/extensions/";

/// A store whose last change has noted that all is in order.
class Settlement : public ::testing::Test {
  protected:
    Settlement() {
        for (const char* id : {"com.example.a", "com.example.b"})
            EXPECT_EQ(machine_.install(machine_.package(id, "1.0")).exitCode, 0);
        toggle();
        EXPECT_TRUE(fs::exists(machine_.user(".settled")));
    }

    /// Two changes that leave everything as it was; what they say on standard error.
    std::string toggle() const {
        const Result off = machine_.tavik({"--disable", "com.example.b"});
        const Result on = machine_.tavik({"--enable", "com.example.b"});
        EXPECT_EQ(off.exitCode + on.exitCode, 0) << off.err << on.err;
        return off.err + on.err;
    }

    std::string folderOf(const std::string& id) const {
        for (const auto& name : namesIn(machine_.user("ext")))
            if (name.find(id + "@") == 0 && fs::is_directory(machine_.user("ext/" + name)))
                return machine_.user("ext/" + name);
        return {};
    }

    /// How often a change asks the system for something.
    int callsOfAChange() {
        Environment& environment = machine_.environment();
        const Environment clean = environment;
        environment["LD_PRELOAD"] = TAVIK_FAULTS_LIBRARY;
        environment["ASAN_OPTIONS"] = "verify_asan_link_order=0:detect_leaks=0";
        environment["FAULT_KIND"] = "any";
        environment["FAULT_COUNT"] = machine_.path("count");
        EXPECT_EQ(machine_.tavik({"--disable", "com.example.b"}).exitCode, 0);
        environment = clean;
        EXPECT_EQ(machine_.tavik({"--enable", "com.example.b"}).exitCode, 0);
        return std::stoi(readFile(machine_.path("count")));
    }

    Machine machine_;
};

// A trusted note must hide nothing that somebody does between two changes.
TEST_F(Settlement, WhatIsDoneBetweenTwoChangesIsNoticedByTheNext) {
    const struct {
        const char* name;
        std::function<void()> work;
        std::function<std::string()> trouble;  ///< what is wrong after the next changes, or empty
    } rows[] = {
        {"a link is deleted", [&] { fs::remove(machine_.user(kLinks) + "com.example.a"); },
         [&] { return machine_.seenByHost("com.example.a") == "1.0" ? "" : "no link"; }},
        {"the database is the one before",
         [&] {
             machine_.tavik({"--disable", "com.example.a"});
             fs::rename(machine_.user("store.db.previous"), machine_.user("store.db"));
         },
         [&] { return machine_.seenByHost("com.example.a") == "1.0" ? "" : "no link"; }},
        {"an extension is brought back",
         [&] {
             fs::copy(folderOf("com.example.a"), machine_.path("kept"),
                      fs::copy_options::recursive);
             const std::string folder = folderOf("com.example.a");
             machine_.tavik({"--remove", "com.example.a"});
             fs::rename(machine_.path("kept"), folder);
         },
         [&] { return machine_.seenByHost("com.example.a") == "1.0" ? "" : "not adopted"; }},
        {"something foreign appears in ext/",
         [&] { fs::create_directory(machine_.user("ext/foreign")); },
         [&] { return fs::exists(machine_.user("ext/foreign")) ? "it stays" : ""; }},
        {"the content's folder is another one",
         [&] {
             fs::rename(machine_.user("ext"), machine_.user("moved"));
             fs::create_directory(machine_.user("ext"));
             for (const auto& entry : fs::directory_iterator(machine_.user("moved")))
                 if (entry.path().string().find("com.example.b") != std::string::npos)
                     fs::rename(entry.path(), machine_.user("ext") / entry.path().filename());
             fs::last_write_time(machine_.user("ext"), fs::last_write_time(machine_.user("moved")));
         },
         [&] { return toggle().find("com.example.a") == std::string::npos ? "not named" : ""; }},
    };
    for (const auto& [name, work, trouble] : rows) {
        work();
        toggle();
        EXPECT_EQ(trouble(), "") << name;
        toggle();
    }
    // What is missing is named by each change until it is there again.
    EXPECT_NE(toggle().find("com.example.a"), std::string::npos);
}

// With ten thousand extensions, each change took five times as long.
TEST_F(Settlement, AChangeCostsTheSameHoweverManyAreInstalled) {
    const int few = callsOfAChange();
    for (int i = 0; i < 12; ++i)
        ASSERT_EQ(
            machine_.install(machine_.package("com.example.more" + std::to_string(i), "1.0")).err,
            "");
    EXPECT_LT(callsOfAChange(), few + 6);
}

}  // namespace
}  // namespace tavik::testing
