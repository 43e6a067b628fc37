#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>

#include "tests/support/Machine.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;
using List = std::vector<std::string>;

constexpr const char* kId = "com.example.a";
constexpr const char* kEntry = "products/sketch/disabled/com.example.a";

/// A machine whose user may not change the shared store.
class Masks : public ::testing::Test {
  protected:
    Masks() {
        fs::permissions(machine.path(""), fs::perms(01777));
        fs::create_directories(machine.shared());
        fs::rename(machine.user("products.d"), machine.shared("products.d"));
        fs::remove_all(machine.path("user"));
        machine.runAs(Machine::As::ordinaryUser);
    }
    ~Masks() override { close(fs::perms(0755)); }

    void installForAll(const std::string& version, const std::string& products = "") {
        close(fs::perms(0755));
        PackageBuilder builder(kId, version);
        if (!products.empty())
            builder.with("products", products);
        ASSERT_EQ(asRoot({"--install_for_all", machine.package(builder)}).exitCode, 0);
        close(fs::perms(0555));
    }

    /// An administrator with a store of his own.
    Result asRoot(const List& arguments) {
        auto& home = machine.environment()["TAVIK_HOME"];
        const std::string users = std::exchange(home, machine.path("root"));
        machine.runAs(Machine::As::owner);
        Result result = machine.tavik(arguments);
        machine.runAs(Machine::As::ordinaryUser);
        home = users;
        return result;
    }

    void expectDone(const List& arguments) {
        const Result result = machine.tavik(arguments);
        EXPECT_EQ(result.exitCode, 0) << arguments[0] << ": " << result.err;
        EXPECT_EQ(result.err, "") << arguments[0];
    }

    /// What the sample application loads for this user: versions, told by the folders' manifests.
    List loadedByHost() const {
        List loaded;
        std::istringstream lines(
            run({TAVIK_SAMPLE_HOST, machine.user(), machine.shared(), "sketch"}).out);
        for (std::string line; std::getline(lines, line);)
            loaded.push_back(line.substr(0, line.find(' ')));
        return loaded;
    }

    /// The list and the host application agree: the extension is on or off.
    void expectState(const std::string& state) {
        EXPECT_EQ(machine.listed(), List{state + " com.example.a 1.0"});
        EXPECT_EQ(loadedByHost(), state == "Enabled" ? List{kId} : List{});
    }

    void close(fs::perms perms) const {
        for (const char* folder : {"", "ext", "staging", "products.d"})
            if (fs::exists(machine.shared(folder)))
                fs::permissions(machine.shared(folder), perms);
    }

    Machine machine;
};

// "Disabled" was shown while the host application still loaded the shared one, or the command
// failed.
TEST_F(Masks, AUserSwitchesTheSharedExtensionOffForHimselfAlone) {
    installForAll("1.0");
    expectState("Enabled");
    expectDone({"--disable", kId});
    expectState("Disabled");
    EXPECT_TRUE(fs::is_regular_file(machine.user(kEntry)));
    EXPECT_NE(asRoot({"--list", "all"}).out.find(" Enabled"), std::string::npos);
    expectDone({"--disable", kId});
    expectState("Disabled");

    expectDone({"--enable", kId});
    expectState("Enabled");
    EXPECT_FALSE(fs::exists(machine.user(kEntry)));
    expectDone({"--enable", kId});
    expectState("Enabled");
}

TEST_F(Masks, WithACopyOfHisOwnTheSwitchConcernsBoth) {
    installForAll("1.0");
    const auto own = machine.package("com.example.a", "1.0");
    fs::permissions(own, fs::perms(0644));
    expectDone({"--install", own});
    expectState("Enabled");
    expectDone({"--disable", kId});
    expectState("Disabled");
    expectDone({"--install", own});  // a replaced extension keeps its state
    expectState("Disabled");
    expectDone({"--enable", kId});
    expectState("Enabled");
    EXPECT_FALSE(fs::exists(machine.user(kEntry)));

    // Removing an extension that is switched off must not make the shared one appear.
    expectDone({"--disable", kId});
    expectDone({"--remove", kId});
    expectState("Disabled");
    expectDone({"--install", own});
    expectState("Enabled");
    expectDone({"--remove", kId});
    expectState("Enabled");
}

// Later installs for all would show what the user has switched off.
TEST_F(Masks, ASwitchedOffCopyAlsoMasksWhatIsInstalledForAllLater) {
    const auto own = machine.package("com.example.a", "1.0");
    fs::permissions(own, fs::perms(0644));
    expectDone({"--install", own});
    expectDone({"--disable", kId});
    expectDone({"--remove", kId});
    EXPECT_FALSE(fs::exists(machine.user(kEntry))) << "nothing is left to switch off";
    expectDone({"--install", own});
    expectDone({"--disable", kId});
    installForAll("1.0");
    expectState("Disabled");
}

// An update for all showed what the user had switched off in another host, until his next change.
TEST_F(Masks, AMaskFollowsTheProductsOfTheSharedExtension) {
    writeFile(machine.shared("products.d/layout.json"),
              R"({"name": "layout", "displayName": "Layout", "version": "1"})");
    const auto own = machine.package(kId, "1.0");
    const auto other = machine.package("com.example.b", "1.0");
    for (const auto& path : {own, other})
        fs::permissions(path, fs::perms(0644));
    const std::pair<const char*, List> commands[] = {
        {"TavikCmd", {"--list", "all"}}, {"tavik", {"list"}}, {"TavikCmd", {"--install", other}}};
    for (const bool hasOwn : {false, true})
        for (const auto& [name, arguments] : commands) {
            SCOPED_TRACE(name + arguments[0] + (hasOwn ? ", own copy" : ""));
            installForAll("1.0");
            if (hasOwn)
                expectDone({"--install", own});
            expectDone({"--disable", kId});
            installForAll("1.1", R"([{"name": "sketch"}, {"name": "layout"}])");
            const Result result = machine.tavik(arguments, name);
            EXPECT_EQ(result.exitCode, 0) << result.err;
            EXPECT_EQ(result.err, "");
            EXPECT_TRUE(fs::exists(machine.user("products/layout/disabled/com.example.a")));
            expectDone({"--enable", kId});
            EXPECT_FALSE(fs::exists(machine.user("products/layout/disabled/com.example.a")));
            expectDone({"--disable", kId});
            EXPECT_TRUE(fs::exists(machine.user("products/layout/disabled/com.example.a")))
                << "at once, although the own copy is for one product";
            expectDone({"--enable", kId});
            if (hasOwn)
                expectDone({"--remove", kId});
            close(fs::perms(0755));
            ASSERT_EQ(asRoot({"--remove_for_all", kId}).exitCode, 0);
        }
}

TEST_F(Masks, WhoMayChangeTheSharedStoreSwitchesForAll) {
    installForAll("1.0");
    close(fs::perms(0755));
    ASSERT_EQ(asRoot({"--disable", kId}).exitCode, 0);
    expectState("Disabled");
    EXPECT_EQ(namesIn(machine.path("root/QZ/products")), List{});
    // Nobody can switch it on for himself alone.
    close(fs::perms(0555));
    EXPECT_EQ(machine.tavik({"--enable", kId}).exitCode, 256 - 25);
}

TEST_F(Masks, AnInterruptedSwitchIsDoneOrNotAndTheNextChangeCompletesIt) {
    writeFile(machine.shared("products.d/layout.json"),
              R"({"name": "layout", "displayName": "Layout", "version": "1"})");
    installForAll("1.0", R"([{"name": "sketch"}, {"name": "layout"}])");
    const auto other = machine.package("com.example.b", "1.0");
    fs::permissions(other, fs::perms(0644));
    const Environment clean = machine.environment();
    const auto listedIn = [&](const char* product) { return machine.listed(product).at(0); };
    for (const std::string option : {"--disable", "--enable"})
        for (int call = 1;; ++call) {
            SCOPED_TRACE(option + ", killed at call " + std::to_string(call));
            expectDone({option == "--disable" ? "--enable" : "--disable", kId});
            fs::remove(machine.path("struck"));
            machine.environment().insert({{"LD_PRELOAD", TAVIK_FAULTS_LIBRARY},
                                          {"ASAN_OPTIONS", "verify_asan_link_order=0"},
                                          {"FAULT_AT", std::to_string(call)},
                                          {"FAULT_LOG", machine.path("struck")}});
            machine.tavik({option, kId});
            machine.environment() = clean;
            expectDone({"--install", other});
            const std::string state = listedIn("Sketch Pro");
            EXPECT_EQ(listedIn("Layout"), state);
            for (const char* product : {"sketch", "layout"})
                EXPECT_EQ(fs::exists(machine.user("products/" + std::string(product) +
                                                  "/disabled/com.example.a")),
                          state.substr(0, 8) == "Disabled")
                    << product;
            if (!fs::exists(machine.path("struck"))) {
                EXPECT_GT(call, 2) << "the faults are not in effect";
                break;
            }
        }
}

}  // namespace
}  // namespace tavik::testing
