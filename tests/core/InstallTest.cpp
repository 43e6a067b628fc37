#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "tests/support/Machine.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;
using List = std::vector<std::string>;

constexpr int kOlderVersion = 256 - 18;
constexpr int kNoFittingProduct = 256 - 17;
constexpr int kAmbiguousName = 256 - 8;

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(Install, MainJobLeavesNothingBehind) {
    Machine machine;
    const auto path = machine.package(
        PackageBuilder("com.example.a", "1.0").named("A").file("content.txt", "hello"));

    Result result = machine.install(path);
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(machine.listed(), List{"Enabled A 1.0"});
    EXPECT_EQ(machine.seenByHost("com.example.a"), "hello");

    // A list in the same run shows the change as well.
    result = machine.tavik({"--list", "all", "--disable", "A", "--list", "all"});
    EXPECT_TRUE(contains(result.out, "Enabled ")) << result.out;
    EXPECT_TRUE(contains(result.out, "Disabled ")) << result.out;
    EXPECT_EQ(machine.listed(), List{"Disabled A 1.0"});
    EXPECT_EQ(machine.seenByHost("com.example.a"), "");

    EXPECT_EQ(machine.tavik({"--enable", "com.example.A", "--enable", "A"}).exitCode, 0);
    EXPECT_EQ(machine.seenByHost("com.example.a"), "hello");

    result = machine.tavik({"--remove", "A"});
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(machine.listed(), List{});
    EXPECT_EQ(namesIn(machine.user("ext")), List{});
    EXPECT_EQ(namesIn(machine.user("products/sketch/extensions")), List{});
    EXPECT_EQ(machine.garbage(), List{});
}

TEST(Install, OlderVersionIsRefusedNamingBoth) {
    Machine machine;
    ASSERT_EQ(machine.install(machine.package("com.example.a", "2.0")).exitCode, 0);
    const Result result = machine.install(machine.package("COM.example.A", "1.9.9"));
    EXPECT_EQ(result.exitCode, kOlderVersion);
    EXPECT_EQ(result.out, "Failed to install, status = -18!\n");
    EXPECT_TRUE(contains(result.err, "installed: 2.0; package: 1.9.9")) << result.err;
    EXPECT_EQ(machine.seenByHost("com.example.a"), "2.0");
    EXPECT_EQ(machine.garbage(), List{});
}

TEST(Install, SameOrNewerVersionRepairsTheFilesAndKeepsTheState) {
    Machine machine;
    const auto path = machine.package("com.example.a", "1.0");
    ASSERT_EQ(machine.install(path).exitCode, 0);
    fs::remove(machine.user("products/sketch/extensions/com.example.a/content.txt"));
    EXPECT_EQ(machine.install(path).exitCode, 0);
    EXPECT_EQ(machine.seenByHost("com.example.a"), "1.0");
    // An id in other letter case is the same extension; the host sees the new spelling.
    ASSERT_EQ(machine.install(machine.package("com.Example.a", "1.1")).exitCode, 0);
    EXPECT_EQ(machine.listed(), List{"Enabled com.Example.a 1.1"});
    EXPECT_EQ(namesIn(machine.user("products/sketch/extensions")), List{"com.Example.a"});
    ASSERT_EQ(machine.tavik({"--disable", "com.Example.a"}).exitCode, 0);
    ASSERT_EQ(machine.install(machine.package("com.example.a", "1.2")).exitCode, 0);
    EXPECT_EQ(machine.listed(), List{"Disabled com.example.a 1.2"});
    EXPECT_EQ(machine.garbage(), List{});
}

// The home folder is on another disk, behind a link.
TEST(Install, AFolderAboveTheStoreMayBeALink) {
    Machine machine;
    fs::create_directory_symlink(machine.path(""), machine.path("link"));
    machine.environment()["TAVIK_HOME"] = machine.path("link/user");
    const Result result = machine.install(machine.package("com.example.a", "1.0"));
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(machine.listed(), List{"Enabled com.example.a 1.0"});
}

TEST(Install, PackageForNoInstalledProductIsRefused) {
    const std::pair<const char*, const char*> rows[] = {
        {R"([{"name": "sketch", "minVersion": "16", "maxVersion": "17.1.9"}])",
         "wanted: sketch from 16 up to 17.1.9; found: sketch 17.2"},
        {R"([{"name": "other"}])", "wanted: other; found: none of them"},
    };
    for (const auto& [products, named] : rows) {
        Machine machine;
        const Result result = machine.install(
            machine.package(PackageBuilder("com.example.a", "1.0").with("products", products)));
        EXPECT_EQ(result.exitCode, kNoFittingProduct) << named;
        EXPECT_TRUE(contains(result.err, named)) << result.err;
        EXPECT_FALSE(fs::exists(machine.user("store.db"))) << "a refused package made a store";
    }
}

TEST(Install, NothingOfTheHostIsOverwritten) {
    Machine machine;
    const std::string place = machine.user("products/sketch/extensions/com.example.a");
    writeFile(place + "/mine.txt", "mine");
    const Result result = machine.install(machine.package("com.example.a", "1.0"));
    EXPECT_EQ(result.exitCode, 256 - 21) << result.err;
    EXPECT_TRUE(contains(result.err, place)) << result.err;
    EXPECT_EQ(readFile(place + "/mine.txt"), "mine");
    EXPECT_EQ(machine.listed(), List{});
}

// A link that the user made, to a working copy of the extension.
TEST(Install, NoLinkOfSomebodyElseIsTouched) {
    Machine machine;
    const std::string place = machine.user("products/sketch/extensions/com.example.a");
    const auto path = machine.package("com.example.a", "1.0");
    fs::create_directories(machine.path("work"));
    const auto putOwnLink = [&] {
        fs::remove(place);
        fs::create_directory_symlink(machine.path("work"), place);
    };
    const auto expectRefused = [&](const List& command, const List& listed) {
        const Result result = machine.tavik(command);
        EXPECT_EQ(result.exitCode, 256 - 21) << command[0] << result.err;
        EXPECT_EQ(fs::read_symlink(place), machine.path("work")) << command[0];
        EXPECT_EQ(machine.listed(), listed);
    };
    fs::create_directories(fs::path(place).parent_path());
    putOwnLink();
    expectRefused({"--install", path}, {});
    fs::remove(place);
    ASSERT_EQ(machine.tavik({"--install", path, "--disable", "com.example.a"}).exitCode, 0);
    putOwnLink();
    expectRefused({"--enable", "com.example.a"}, {"Disabled com.example.a 1.0"});
    EXPECT_EQ(machine.tavik({"--remove", "com.example.a"}).exitCode, 0);
    EXPECT_EQ(fs::read_symlink(place), machine.path("work"));
}

// A product that was updated, or that uses another folder now.
TEST(Install, LinksFollowTheProducts) {
    Machine machine;
    machine.addProduct("layout", "Layout", "5.0");
    const auto path = machine.package(
        PackageBuilder("com.example.a", "1.0").with("products", R"([{"name": "sketch"},
                                  {"name": "layout", "minVersion": "6", "maxVersion": "6.9"}])"));
    ASSERT_EQ(machine.install(path).exitCode, 0);
    const std::string own = machine.user("products/sketch/extensions");
    EXPECT_EQ(namesIn(own), List{"com.example.a"});
    EXPECT_EQ(namesIn(machine.user("products/layout/extensions")), List{});

    const std::string folder = machine.path("host/plug-ins");
    machine.addProduct("layout", "Layout", "6.0");
    machine.addProduct("sketch", "Sketch Pro", "17.2",
                       R"(, "extensionsFolder": ")" + folder + "/\"");
    ASSERT_EQ(machine.install(machine.package("com.example.b", "1.0")).exitCode, 0);
    EXPECT_EQ(namesIn(machine.user("products/layout/extensions")), List{"com.example.a"});
    EXPECT_EQ(namesIn(folder), (List{"com.example.a", "com.example.b"}));
    EXPECT_EQ(namesIn(own), List{});

    // A product that is too new for the extension, and the same folder in another spelling.
    machine.addProduct("layout", "Layout", "7.0");
    machine.addProduct("sketch", "Sketch Pro", "17.2",
                       R"(, "extensionsFolder": ")" + folder + "\"");
    ASSERT_EQ(machine.tavik({"--disable", "com.example.b"}).exitCode, 0);
    EXPECT_EQ(namesIn(machine.user("products/layout/extensions")), List{});
    EXPECT_EQ(namesIn(folder), List{"com.example.a"});
    ASSERT_EQ(machine.tavik({"--enable", "com.example.b"}).exitCode, 0);
    ASSERT_EQ(machine.tavik({"--remove", "com.example.a"}).exitCode, 0);
    EXPECT_EQ(namesIn(folder), List{"com.example.b"});
}

TEST(Install, SharedNameIsRefusedListingTheIds) {
    Machine machine;
    for (const char* id : {"com.example.b", "com.example.a"})
        ASSERT_EQ(
            machine.install(machine.package(PackageBuilder(id, "1.0").named("Twin"))).exitCode, 0);
    const Result result = machine.tavik({"--remove", "Twin"});
    EXPECT_EQ(result.exitCode, kAmbiguousName);
    EXPECT_TRUE(contains(result.err, "com.example.a, com.example.b")) << result.err;
    EXPECT_EQ(machine.tavik({"--remove", "com.example.b"}).exitCode, 0);
    EXPECT_EQ(machine.listed(), List{"Enabled Twin 1.0"});

    const auto usurper = machine.package(PackageBuilder("x", "2.0").named("com.example.a"));
    ASSERT_EQ(machine.install(usurper).exitCode, 0);
    EXPECT_EQ(machine.tavik({"--remove", "com.example.a"}).exitCode, 0);
    EXPECT_EQ(machine.listed(), List{"Enabled com.example.a 2.0"});
}

TEST(Install, SixteenAtOnceAllSucceedWhileListsRun) {
    Machine machine;
    std::vector<std::unique_ptr<Process>> installs;
    List expected;
    for (int i = 10; i < 26; ++i) {
        const std::string id = "com.example." + std::to_string(i);
        const auto path = machine.package(id, "1.0");
        expected.push_back("Enabled " + id + " 1.0");
        installs.push_back(std::make_unique<Process>(
            std::vector<std::string>{program("TavikCmd"), "--install", path},
            machine.environment()));
    }
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(machine.tavik({"--list", "all"}).exitCode, 0);
    for (auto& install : installs) {
        const Result result = install->wait();
        EXPECT_EQ(result.exitCode, 0) << result.err;
    }
    EXPECT_EQ(machine.listed(), expected);
    EXPECT_EQ(machine.garbage(), List{});
}

}  // namespace
}  // namespace tavik::testing
