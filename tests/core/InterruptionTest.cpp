#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/support/Machine.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;
using List = std::vector<std::string>;

const List kOld{"Enabled com.example.a 1.0"};

/// A change, and the lists before and after it.
struct Change {
    const char* name;
    List before;
    List after;
    const char* option;
    std::string version{};  ///< of the package, for an install
};

const Change kChanges[] = {
    {"first install", {}, kOld, "--install", "1.0"},
    {"update", kOld, {"Enabled com.example.a 2.0"}, "--install", "2.0"},
    {"removal", kOld, {}, "--remove"},
    {"disabling", kOld, {"Disabled com.example.a 1.0"}, "--disable"},
};

/// Links that lead nowhere: a host would fail on them.
List danglingLinks(const Machine& machine) {
    const std::string folder = machine.user("products/sketch/extensions/");
    List names = namesIn(folder);
    names.erase(std::remove_if(names.begin(), names.end(),
                               [&](const std::string& name) { return fs::exists(folder + name); }),
                names.end());
    return names;
}

void expectHostSees(const Machine& machine, const List& listed, const std::string& where) {
    const bool enabled = !listed.empty() && listed[0].substr(0, 8) == "Enabled ";
    EXPECT_EQ(machine.seenByHost("com.example.a"),
              enabled ? listed[0].substr(listed[0].size() - 3) : "")
        << where;
}

/// The host sees what the list says, `now`, once another change has gone through.
void expectSoundAfterNextChange(Machine& machine, const List& now, const std::string& where) {
    ASSERT_EQ(machine.install(machine.package("com.example.other", "1.0")).exitCode, 0) << where;
    List then = now;
    then.push_back("Enabled com.example.other 1.0");
    EXPECT_EQ(machine.listed(), then) << where;
    EXPECT_EQ(machine.garbage(), List{}) << where;
    expectHostSees(machine, now, where);
}

enum class Duration { once, onward };

/// A machine on which the change can be made again and again.
class ChangeMachine {
  public:
    explicit ChangeMachine(const Change& change)
        : arguments_{change.option, change.version.empty()
                                        ? "com.example.a"
                                        : machine.package("com.example.a", change.version)} {
        if (!change.before.empty()) {
            EXPECT_EQ(machine.install(machine.package("com.example.a", "1.0")).exitCode, 0);
        }
        goOnFromHere(arguments_);
    }

    /// From now on run() makes this change, on the store as it is now.
    void goOnFromHere(const List& arguments) {
        arguments_ = arguments;
        fs::remove_all(machine.path("saved"));
        fs::copy(machine.path("user"), machine.path("saved"), kWholeTree);
    }

    /// Makes the change on the store as it was, with the fault at that call.
    Result run(const std::string& fault, Duration duration, int call) {
        fs::remove_all(machine.path("user"));
        fs::remove(machine.path("struck"));
        fs::copy(machine.path("saved"), machine.path("user"), kWholeTree);
        Environment& environment = machine.environment();
        const Environment clean = environment;
        environment["LD_PRELOAD"] = TAVIK_FAULTS_LIBRARY;
        environment["ASAN_OPTIONS"] = "verify_asan_link_order=0:detect_leaks=0";
        environment["FAULT"] = fault;
        environment["FAULT_AT"] = std::to_string(call);
        if (duration == Duration::onward)
            environment["FAULT_ONWARD"] = "1";
        environment["FAULT_LOG"] = machine.path("struck");
        Result result = machine.tavik(arguments_);
        environment = clean;
        return result;
    }

    /// What a list would say. It is asked of a copy, since a list may finish an interrupted change.
    List listedInACopy() {
        fs::remove_all(machine.path("copy"));
        fs::copy(machine.path("user"), machine.path("copy"), kWholeTree);
        fs::remove_all(machine.path("copy/QZ/products"));  // its links lead to the original
        const Environment here = machine.environment();
        machine.environment()["TAVIK_HOME"] = machine.path("copy");
        List listed = machine.listed();
        machine.environment() = here;
        return listed;
    }

    bool wasStruck() const { return fs::exists(machine.path("struck")); }

    Machine machine;

  private:
    static constexpr auto kWholeTree =
        fs::copy_options::recursive | fs::copy_options::copy_symlinks;
    List arguments_;
};

/// Runs the change with the fault at its first, second, ... call that changes the disk, until the
/// change has fewer calls than that.
void runWithFaults(const Change& change, const std::string& fault, Duration duration) {
    ChangeMachine changing(change);
    for (int call = 1; !::testing::Test::HasFailure(); ++call) {
        const std::string where =
            std::string(change.name) + ", " + fault + " at call " + std::to_string(call);
        const Result result = changing.run(fault, duration, call);
        const bool struck = changing.wasStruck();
        EXPECT_EQ(danglingLinks(changing.machine), List{}) << where;
        const List now = changing.machine.listed();
        expectHostSees(changing.machine, now, where + ", after the list");
        EXPECT_TRUE(now == change.before || now == change.after)
            << where << ": " << ::testing::PrintToString(now);
        if (result.exitCode == 0) {
            EXPECT_EQ(now, change.after) << where << ": reported as done";
        }
        expectSoundAfterNextChange(changing.machine, now, where);
        if (!struck) {
            EXPECT_EQ(result.exitCode, 0) << where << ": " << result.err;
            EXPECT_GT(call, 5) << "the faults are not in effect";
            return;
        }
    }
}

void runAllWithFaults(const std::string& fault, Duration duration = Duration::once) {
    for (const auto& change : kChanges)
        runWithFaults(change, fault, duration);
}

TEST(Interruption, KilledAtAnyCallLeavesTheOldOrTheNewState) {
    runAllWithFaults("kill");
}

TEST(Interruption, FullDiskAtAnyCallLeavesTheOldOrTheNewState) {
    runAllWithFaults(std::to_string(ENOSPC));
}

TEST(Interruption, DiskFullFromAnyCallOnLeavesTheOldOrTheNewState) {
    runAllWithFaults(std::to_string(ENOSPC), Duration::onward);
}

TEST(Interruption, FailingDiskAtAnyCallLeavesTheOldOrTheNewState) {
    runAllWithFaults(std::to_string(EIO));
}

// The next change is interrupted while it repairs what the last one left: a link that stands on
// after its extension was disabled.
TEST(Interruption, OfARepairIsMadeGoodToo) {
    for (const std::string& fault : {std::string("kill"), std::to_string(EIO)}) {
        ChangeMachine changing(kChanges[3]);
        Machine& machine = changing.machine;
        ASSERT_EQ(machine.install(machine.package("com.example.b", "1.0")).exitCode, 0);
        changing.goOnFromHere({"--disable", "com.example.a"});
        List now;
        for (int call = 1; now.empty() || now[0][0] == 'E'; ++call) {
            changing.run("kill", Duration::once, call);
            ASSERT_TRUE(changing.wasStruck()) << "never between the commit and the link";
            now = changing.listedInACopy();
        }
        ASSERT_EQ(machine.seenByHost("com.example.a"), "1.0");

        changing.goOnFromHere({"--enable", "com.example.b"});
        bool struck = true;
        for (int call = 1; struck && !::testing::Test::HasFailure(); ++call) {
            changing.run(fault, Duration::once, call);
            struck = changing.wasStruck();
            const std::string where = fault + " at call " + std::to_string(call);
            EXPECT_EQ(machine.listed(), now) << where;
            expectSoundAfterNextChange(machine, now, where);
        }
    }
}

// What a power cut may leave: the row without its link, links of no row, folders of no row.
TEST(Interruption, IsMadeGoodByTheNextChange) {
    Machine machine;
    ASSERT_EQ(machine.install(machine.package("com.example.a", "1.0")).exitCode, 0);
    const std::string links = machine.user("products/sketch/extensions/");
    fs::remove(links + "com.example.a");
    writeFile(machine.user("ext/com.example.gone@00/x.txt"), "x");
    fs::create_directory_symlink(machine.user("ext/com.example.gone@00"),
                                 links + "com.example.gone");
    fs::create_directory_symlink(machine.path("elsewhere"), links + "foreign");
    writeFile(machine.user("staging/half/done.txt"), "x");

    ASSERT_EQ(machine.install(machine.package("com.example.b", "1.0")).exitCode, 0);
    EXPECT_EQ(machine.seenByHost("com.example.a"), "1.0");
    EXPECT_EQ(namesIn(links), (List{"com.example.a", "com.example.b", "foreign"}));
    EXPECT_EQ(namesIn(machine.user("staging")), List{});
    EXPECT_EQ(namesIn(machine.user("ext")).size(), 4U);  // each with its list of files
}

}  // namespace
}  // namespace tavik::testing
