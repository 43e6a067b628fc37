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

void shell(const Machine& machine, const std::string& commands) {
    const Result result = run({"sh", "-euc", "cd \"$0\"; " + commands, machine.path("")});
    ASSERT_EQ(result.exitCode, 0) << result.err;
}

std::size_t linesIn(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

// One installer's bad file would keep everybody from listing, installing and removing anything.
TEST(Products, ABadDescriptorIsLeftOutAndNamedOnce) {
    const struct {
        const char* commands;  ///< that spoil something, in the descriptors' folder
        const char* named;     ///< what the line on standard error names
    } rows[] = {
        {"echo '{\"name\": 1}' > bad.json", "products.d/bad.json: "},
        {"echo nonsense > bad.json", "products.d/bad.json: "},
        {"cp sketch.json x.json", "products.d/x.json: "},
        {"sed s/\\\"sketch\\\"/\\\"x\\\"/ sketch.json > x.json", "Sketch Pro"},
        {"ln -s sketch.json x.json", "it is a link"},
        {"mkfifo x.json", "it is not a regular file"},
        {"sed s/etch/ipper/ sketch.json > skipper.json; chmod 664 skipper.json",
         "its group or others may write"},
        {"printf '{\"name\": \"x\", \"displayName\": \"X\", \"version\": \"1\", "
         "\"extensionsFolder\": \"~/../x\"}' > x.json",
         "leads out of the home folder"},
        // A byte more than the callers of the interface have room for.
        {"n=$(printf %064d 0); sed s/\\\"sketch\\\"/\\\"$n\\\"/ sketch.json > $n.json", "$.name"},
        {"n=$(printf %064d 0); sed \"s/\\\"sketch\\\"/\\\"x\\\"/; s/Sketch Pro/$n/\" sketch.json "
         "> x.json",
         "$.displayName"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.commands);
        Machine machine;
        ASSERT_EQ(machine.install(machine.package("com.example.a", "1.0")).exitCode, 0);
        shell(machine, std::string("cd user/QZ/products.d; ") + row.commands);

        const Result result = machine.tavik({"--install", machine.package("com.example.b", "1.0"),
                                             "--remove", "com.example.a", "--list", "all"});
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(linesIn(result.err), 1U) << result.err;
        EXPECT_NE(result.err.find(row.named), std::string::npos) << result.err;
        EXPECT_NE(result.out.find("1 extension installed for Sketch Pro"), std::string::npos)
            << result.out;
        EXPECT_EQ(machine.seenByHost("com.example.b"), "1.0");
    }
}

// Another user's descriptor would decide where root puts links.
TEST(Products, AnotherUsersDescriptorIsLeftOut) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a file away";
    Machine machine;
    machine.addProduct("other", "Other", "1");
    ASSERT_EQ(::chown(machine.user("products.d/other.json").c_str(), 65534, 65534), 0);
    const Result result = machine.tavik({"--list", "all"});
    EXPECT_NE(result.err.find("other.json: "), std::string::npos) << result.err;
    EXPECT_EQ(result.out.find("Other"), std::string::npos) << result.out;
}

TEST(Products, OfTwoWithOneDisplayNameTheUsersCountsAndThenTheFirstByFileName) {
    Machine machine;
    const auto describe = [](const std::string& path, const std::string& name) {
        writeFile(path, R"({"name": ")" + name + R"(", "displayName": "Twin", "version": "1"})");
    };
    // Written in another order than their names'.
    for (const char* name : {"c", "a", "b"})
        describe(machine.shared("products.d/" + std::string(name) + ".json"), name);
    const auto package = machine.package(
        PackageBuilder("com.example.a", "1.0").with("products", R"([{"name": "a"}])"));
    Result result = machine.tavik({"--install", package, "--list", "Twin"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_NE(result.out.find("com.example.a"), std::string::npos) << result.out << result.err;
    EXPECT_EQ(linesIn(result.err), 2U) << result.err;

    describe(machine.user("products.d/z.json"), "z");
    result = machine.tavik({"--list", "Twin"});
    EXPECT_EQ(result.out.find("com.example.a"), std::string::npos) << result.out;
    EXPECT_EQ(result.err.find("z.json: "), std::string::npos) << result.err;
    EXPECT_EQ(linesIn(result.err), 3U) << result.err;
}

// An unreadable folder taken for an empty one would remove all links.
TEST(Products, AFolderThatCannotBeReadIsAFailureAndTakesNoLinkAway) {
    for (const int error : {EIO, EMFILE, ENOMEM})
        for (const char* path : {"products.d", "sketch.json", "."}) {
            SCOPED_TRACE(std::string(path) + ": " + std::to_string(error));
            Machine machine;
            ASSERT_EQ(machine.install(machine.package("com.example.a", "1.0")).exitCode, 0);
            ASSERT_EQ(machine.install(machine.package("com.example.b", "1.0")).exitCode, 0);
            const Environment clean = machine.environment();
            machine.environment().insert({{"LD_PRELOAD", TAVIK_FAULTS_LIBRARY},
                                          {"ASAN_OPTIONS", "verify_asan_link_order=0"},
                                          {"FAULT_PATH", path},
                                          {"FAULT", std::to_string(error)}});
            EXPECT_NE(machine.tavik({"--remove", "com.example.b"}).exitCode, 0);
            machine.environment() = clean;
            EXPECT_EQ(machine.seenByHost("com.example.a"), "1.0");
            EXPECT_EQ(machine.listed().size(), 2U);
        }
}

TEST(Products, AFolderInTheHomeIsEachUsersOwnAndTheSharedStoreKeepsToItsOwn) {
    Machine machine;
    machine.addProduct("sketch", "Sketch Pro", "17.2", R"(, "extensionsFolder": "~/sketch/plugs")");
    const auto package = machine.package("com.example.a", "1.0");
    ASSERT_EQ(machine.tavik({"--install", package, "--install_for_all", package}).exitCode, 0);
    EXPECT_EQ(namesIn(machine.path("home/sketch/plugs")), List{"com.example.a"});
    EXPECT_EQ(namesIn(machine.shared("products/sketch/extensions")), List{"com.example.a"});

    machine.environment()["HOME"] = machine.path("second");
    EXPECT_EQ(machine.tavik({"--enable", "com.example.a"}).exitCode, 0);
    EXPECT_EQ(namesIn(machine.path("second/sketch/plugs")), List{"com.example.a"});

    machine.environment().erase("HOME");
    EXPECT_EQ(machine.tavik({"--disable", "com.example.a"}).exitCode, 256 - 20);
    EXPECT_EQ(namesIn(machine.path("second/sketch/plugs")), List{"com.example.a"});
}

// A script would take the empty output of an unreadable store for "nothing is installed".
TEST(Products, AListOfAllFailsBeforeItsFirstTableWhereAStoreCannotBeRead) {
    Machine machine;
    ASSERT_EQ(machine.install(machine.package("com.example.a", "1.0")).exitCode, 0);
    fs::permissions(machine.user("store.db"), fs::perms(0666));
    const Result all = machine.tavik({"--list", "all"});
    EXPECT_EQ(all.exitCode, 256 - 21);
    EXPECT_EQ(all.out, "Failed to get product list, status = -21!\n");
    EXPECT_EQ(machine.tavik({"--list", "Sketch Pro"}).exitCode, 0);
}

}  // namespace
}  // namespace tavik::testing
