#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/Machine.h"

// tests/faults/run strikes every change at every call. Here stands what it does not try: a repair
// that is interrupted, what only a power cut leaves, and a failing disk under the sanitizers.

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;
using List = std::vector<std::string>;

constexpr auto kWholeTree = fs::copy_options::recursive | fs::copy_options::copy_symlinks;

/// A machine on which one change can be made again and again.
class Interruption : public ::testing::Test {
  protected:
    Interruption() {
        for (const char* id : {"com.example.a", "com.example.b"})
            EXPECT_EQ(machine_.install(machine_.package(id, "1.0")).exitCode, 0);
    }

    /// From now on runStruck() makes this change, on the store as it is now.
    void goOnFromHere(const List& arguments) {
        arguments_ = arguments;
        copyStore("user", "saved");
    }

    /// Makes the change on the store as it was, with the fault at that call; whether the change has
    /// so many calls.
    bool runStruck(const std::string& fault, int call) {
        copyStore("saved", "user");
        fs::remove(machine_.path("struck"));
        Environment& environment = machine_.environment();
        const Environment clean = environment;
        environment["LD_PRELOAD"] = TAVIK_FAULTS_LIBRARY;
        environment["ASAN_OPTIONS"] = "verify_asan_link_order=0:detect_leaks=0";
        environment["FAULT"] = fault;
        environment["FAULT_AT"] = std::to_string(call);
        environment["FAULT_LOG"] = machine_.path("struck");
        machine_.tavik(arguments_);
        environment = clean;
        return fs::exists(machine_.path("struck"));
    }

    /// What a list shows. It runs on a copy, because a list may finish an interrupted change.
    List listedInACopy() {
        copyStore("user", "copy");
        fs::remove_all(machine_.path("copy/QZ/products"));  // its links lead to the original
        const Environment here = machine_.environment();
        machine_.environment()["TAVIK_HOME"] = machine_.path("copy");
        List listed = machine_.listed();
        machine_.environment() = here;
        return listed;
    }

    /// After another change, nothing is left of what was interrupted.
    void expectSoundAfterNextChange(List then, const std::string& where) {
        ASSERT_EQ(machine_.install(machine_.package("com.example.other", "1.0")).exitCode, 0)
            << where;
        then.push_back("Enabled com.example.other 1.0");
        EXPECT_EQ(machine_.listed(), then) << where;
        EXPECT_EQ(machine_.garbage(), List{}) << where;
        EXPECT_EQ(machine_.seenByHost("com.example.a"),
                  then[0][0] == 'E' ? then[0].substr(then[0].size() - 3) : "")
            << where;
    }

    Machine machine_;

  private:
    void copyStore(const std::string& from, const std::string& to) {
        fs::remove_all(machine_.path(to));
        fs::copy(machine_.path(from), machine_.path(to), kWholeTree);
    }

    List arguments_;
};

// An error that is answered by code which uses freed memory: only the sanitizers see it.
TEST_F(Interruption, ByAFailingDiskAtAnyCallLeavesTheOldOrTheNewState) {
    const List before = machine_.listed();
    const List after{"Enabled com.example.a 2.0", "Enabled com.example.b 1.0"};
    goOnFromHere({"--install", machine_.package("com.example.a", "2.0")});
    for (int call = 1; runStruck(std::to_string(EIO), call); ++call) {
        const std::string where = "call " + std::to_string(call);
        const List now = machine_.listed();
        EXPECT_TRUE(now == before || now == after)
            << where << ": " << ::testing::PrintToString(now);
        expectSoundAfterNextChange(now, where);
        if (HasFailure())
            return;
    }
}

// The next change is interrupted while it repairs what the last one left: a link that is still
// there after its extension was disabled.
TEST_F(Interruption, OfARepairIsMadeGoodToo) {
    for (const std::string& fault : {std::string("kill"), std::to_string(EIO)}) {
        ASSERT_EQ(machine_.tavik({"--enable", "com.example.a"}).exitCode, 0);
        goOnFromHere({"--disable", "com.example.a"});
        List now;
        for (int call = 1; now.empty() || now[0][0] == 'E'; ++call) {
            ASSERT_TRUE(runStruck("kill", call)) << "never between the commit and the link";
            now = listedInACopy();
        }
        ASSERT_EQ(machine_.seenByHost("com.example.a"), "1.0");

        goOnFromHere({"--enable", "com.example.b"});
        for (int call = 1; runStruck(fault, call) && !HasFailure(); ++call) {
            const std::string where = fault + " at call " + std::to_string(call);
            EXPECT_EQ(machine_.listed(), now) << where;
            expectSoundAfterNextChange(now, where);
        }
    }
}

// What a power cut may leave: the row without its link, links of no row, folders of no row.
TEST_F(Interruption, IsMadeGoodByTheNextChange) {
    const std::string links = machine_.user("products/sketch/extensions/");
    fs::remove(links + "com.example.a");
    writeFile(machine_.user("ext/com.example.gone@00/x.txt"), "x");
    fs::create_directory_symlink(machine_.user("ext/com.example.gone@00"),
                                 links + "com.example.gone");
    fs::create_directory_symlink(machine_.path("elsewhere"), links + "foreign");
    writeFile(machine_.user("staging/half/done.txt"), "x");

    ASSERT_EQ(machine_.tavik({"--disable", "com.example.b"}).exitCode, 0);
    EXPECT_EQ(machine_.seenByHost("com.example.a"), "1.0");
    EXPECT_EQ(namesIn(links), (List{"com.example.a", "foreign"}));
    EXPECT_EQ(namesIn(machine_.user("staging")), List{});
    EXPECT_EQ(namesIn(machine_.user("ext")).size(), 4U);  // each with its list of files
}

}  // namespace
}  // namespace tavik::testing
