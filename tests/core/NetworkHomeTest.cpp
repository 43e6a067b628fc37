#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "tests/support/Machine.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;

/// A user's home on a disk that says that it is a network disk, and an extension whose feed has a
/// newer version.
class NetworkHome : public ::testing::Test {
  protected:
    NetworkHome() {
        machine_.addProduct("sketch", "Sketch Pro", "17.2",
                            R"(, "updateFeed": "file://)" + site_ + R"(/feed.json")");
        EXPECT_EQ(machine_.install(machine_.package("com.example.a", "1.0")).exitCode, 0);
        PackageBuilder("com.example.a", "1.5").file("content.txt", "1.5").write(site_ + "/a.qpk");
        EXPECT_EQ(run({program("qpk"), "feed", site_}).exitCode, 0);
        local_ = machine_.environment();
        machine_.environment()["LD_PRELOAD"] = TAVIK_FAULTS_LIBRARY;
        machine_.environment()["ASAN_OPTIONS"] = "verify_asan_link_order=0:detect_leaks=0";
        machine_.environment()["FAULT_NETWORK"] = "1";
    }

    void expectUpdateIsListed() const {
        const Result result = machine_.tavik({"--list_update", "all"});
        EXPECT_NE(result.out.find("com.example.a"), std::string::npos) << result.out << result.err;
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.exitCode, 0);
    }

    /// Whether the feeds' memory is a file that is written with a log, as its header says.
    bool hasLog() const {
        constexpr std::size_t kWriteVersionAt = 18;
        const std::string header = readFile(machine_.user("feeds.db"));
        return header.size() <= kWriteVersionAt || header[kWriteVersionAt] != 1 ||
               fs::exists(machine_.user("feeds.db-wal")) ||
               fs::exists(machine_.user("feeds.db-shm"));
    }

    Machine machine_;
    Environment local_;
    std::string site_ = machine_.path("site");
};

// A log's index is memory that only processes of one machine share: two machines would spoil the
// file.
TEST_F(NetworkHome, ItsMemoryOfFeedsHasNoLog) {
    expectUpdateIsListed();
    EXPECT_FALSE(hasLog());
}

TEST_F(NetworkHome, ALogFromBeforeIsTakenAway) {
    machine_.environment().swap(local_);
    expectUpdateIsListed();
    ASSERT_TRUE(hasLog());
    machine_.environment().swap(local_);
    expectUpdateIsListed();
    EXPECT_FALSE(hasLog());
}

TEST_F(NetworkHome, TwoProcessesWorkOnItAtOnce) {
    const auto checkAgainAndAgain = [this] {
        for (int i = 0; i < 10; ++i)
            expectUpdateIsListed();
    };
    std::thread other(checkAgainAndAgain);
    checkAgainAndAgain();
    other.join();
    EXPECT_FALSE(hasLog());

    const std::string package = machine_.package("com.example.b", "1.0");
    std::thread update([this] {
        EXPECT_EQ(machine_.tavik({"--update", "com.example.a"}).exitCode, 0);
    });
    EXPECT_EQ(machine_.install(package).exitCode, 0);
    update.join();
    EXPECT_EQ(machine_.listed(),
              (std::vector<std::string>{"Enabled com.example.a 1.5", "Enabled com.example.b 1.0"}));
    EXPECT_EQ(machine_.garbage(), std::vector<std::string>{});
}

}  // namespace
}  // namespace tavik::testing
