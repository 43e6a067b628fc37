#include <filesystem>

#include "tests/tavik/Front.h"

namespace tavik::testing {
namespace {

using List = std::vector<std::string>;

class Change : public Front {};

// Catches a failure that keeps the names and files behind it from being handled, and an exit status
// that only tells of the last one.
TEST_F(Change, EachNameIsJudgedByItself) {
    const std::string a = machine_.package("com.example.a", "1.0");
    const std::string b = machine_.package("com.example.b", "2.0");
    const auto installed = json(kFailed, {"install", a, machine_.path("no.qpk"), b});
    EXPECT_EQ(changes(installed),
              (List{"install com.example.a - 1.0 user", "install com.example.b - 2.0 user"}));
    EXPECT_EQ(failures(installed), List{"packageUnreadable " + machine_.path("no.qpk")});
    EXPECT_EQ(listed(), (List{"com.example.a 1.0 enabled user", "com.example.b 2.0 enabled user"}));

    const auto removed = json(kFailed, {"remove", "com.example.a", "zzzz", "com.example.b"});
    EXPECT_EQ(changes(removed),
              (List{"remove com.example.a 1.0 - user", "remove com.example.b 2.0 - user"}));
    EXPECT_EQ(failures(removed), List{"extensionNotFound zzzz"});
    EXPECT_EQ(machine_.garbage(), List{});
}

// Catches an install that is not told from an update or a reinstallation.
TEST_F(Change, TellsWhatAnInstallDid) {
    const struct {
        const char* version;
        const char* change;
    } rows[] = {{"1.0", "install com.example.a - 1.0 user"},
                {"1.0.0", "reinstall com.example.a 1.0 1.0.0 user"},
                {"1.5", "update com.example.a 1.0.0 1.5 user"}};
    for (const auto& row : rows)
        EXPECT_EQ(changes(json(kDone, {"install", machine_.package("com.example.a", row.version)})),
                  List{row.change});
    EXPECT_EQ(failures(json(kFailed, {"install", machine_.package("com.example.a", "1.2")})).size(),
              1U);
}

// Catches a switch that fails, or claims a change, where the state is the wanted one already.
TEST_F(Change, SwitchingTwiceIsOneChange) {
    install("com.example.a", "1.0");
    EXPECT_EQ(changes(json(kDone, {"disable", "com.example.a"})),
              List{"disable com.example.a 1.0 1.0 user"});
    EXPECT_EQ(machine_.seenByHost("com.example.a"), "");
    EXPECT_EQ(changes(json(kDone, {"disable", "com.example.a"})), List{});
    EXPECT_EQ(changes(json(kDone, {"enable", "com.example.a"})),
              List{"enable com.example.a 1.0 1.0 user"});
    EXPECT_EQ(machine_.seenByHost("com.example.a"), "1.0");

    // What is enabled already gets its link back, or the reason why not.
    std::filesystem::remove(machine_.user("products/sketch/extensions/com.example.a"));
    EXPECT_EQ(changes(json(kDone, {"enable", "com.example.a"})), List{});
    EXPECT_EQ(machine_.seenByHost("com.example.a"), "1.0");
    std::filesystem::remove_all(
        text(json(kDone, {"info", "com.example.a"})["extension"], "folder"));
    EXPECT_EQ(failures(json(kFailed, {"enable", "com.example.a"})).size(), 1U);
}

// Catches a change that goes to the wrong store.
TEST_F(Change, AllUsersIsTheOtherStore) {
    install("com.example.a", "1.0");
    const auto shared =
        json(kDone, {"install", machine_.package("com.example.a", "2.0"), "--all-users"});
    EXPECT_EQ(changes(shared), List{"install com.example.a - 2.0 allUsers"});
    EXPECT_EQ(listed(),
              (List{"com.example.a 1.0 enabled user", "com.example.a 2.0 enabled allUsers"}));
    EXPECT_EQ(changes(json(kDone, {"disable", "com.example.a", "--all-users"})),
              List{"disable com.example.a 2.0 2.0 allUsers"});
    EXPECT_EQ(changes(json(kDone, {"remove", "com.example.a"})),
              List{"remove com.example.a 1.0 - user"});
    EXPECT_EQ(failures(json(kFailed, {"remove", "com.example.a"})),
              List{"installedForAllUsers com.example.a"});
    EXPECT_EQ(changes(json(kDone, {"remove", "com.example.a", "--all-users"})),
              List{"remove com.example.a 2.0 - allUsers"});
}

// Catches a user's own switch that changes what all users have, or has no effect.
TEST_F(Change, DisablingForOneselfIsAMask) {
    out(kDone, {"install", machine_.package("com.example.a", "2.0"), "--all-users"});
    EXPECT_EQ(changes(json(kDone, {"disable", "com.example.a"})),
              List{"mask com.example.a 2.0 2.0 allUsers"});
    EXPECT_EQ(changes(json(kDone, {"disable", "com.example.a"})), List{});
    EXPECT_EQ(listed(), List{"com.example.a 2.0 masked allUsers"});
    const std::string file = machine_.path("frozen.json");
    writeFile(file, out(kDone, {"freeze"}));
    // What is refused must leave no line in the history.
    const std::string masks = machine_.user("products/sketch/disabled");
    std::filesystem::permissions(masks, std::filesystem::perms(0777));
    EXPECT_EQ(failures(json(kFailed, {"enable", "com.example.a"})), List{"storeUnsafe " + masks});
    EXPECT_EQ(out(kDone, {"history", "--json"}).find("\"unmask\""), std::string::npos);
    std::filesystem::permissions(masks, std::filesystem::perms(0755));
    EXPECT_EQ(changes(json(kDone, {"enable", "com.example.a"})),
              List{"unmask com.example.a 2.0 2.0 allUsers"});
    EXPECT_EQ(listed(), List{"com.example.a 2.0 enabled allUsers"});
    EXPECT_EQ(changes(json(kDone, {"apply", file})), List{"mask com.example.a 2.0 2.0 allUsers"});
    EXPECT_EQ(changes(json(kDone, {"apply", file})), List{});

    out(kDone, {"disable", "com.example.a", "--all-users"});
    EXPECT_EQ(failures(json(kFailed, {"enable", "com.example.a"})),
              List{"installedForAllUsers com.example.a"});
}

// Catches a name that is taken for another one, for an option or for a list.
TEST_F(Change, NameMeansOneExtension) {
    install(PackageBuilder("com.example.a", "1").named("Palettes d'\xC3\xA9t\xC3\xA9"));
    install(PackageBuilder("com.example.b", "1").named("[Brushes]"));
    install(PackageBuilder("com.example.C", "1").named("list"));
    install(PackageBuilder("com.example.d", "1").named("com.example.a"));
    install(PackageBuilder("com.example.e", "1").named("-x"));
    const struct {
        const char* typed;
        const char* id;
    } rows[] = {{"com.example.a", "com.example.a"},
                {"COM.Example.A", "com.example.a"},
                {"Palettes d'\xC3\xA9t\xC3\xA9", "com.example.a"},
                {"palettes D'ETE", "com.example.a"},
                {"PALETTES D'E\xCC\x81T\xC3\x89", "com.example.a"},
                {"[Brushes]", "com.example.b"},
                {"[brushes]", "com.example.b"},
                {"list", "com.example.C"},
                {"com.example.c", "com.example.C"},
                {"-X", "com.example.e"}};
    for (const auto& row : rows)
        EXPECT_EQ(text(json(kDone, {"info", "--", row.typed})["extension"], "id"), row.id)
            << row.typed;
    for (const char* typed : {"Brushes", "*", "com.example.?", "com.example", "\xEF\xBF\xBD"})
        EXPECT_EQ(failures(json(kFailed, {"info", "--", typed})),
                  List{std::string("extensionNotFound ") + typed});
    EXPECT_EQ(failures(json(kFailed, {"info", "a\xFF"})), List{"extensionNotFound a\xEF\xBF\xBD"});
}

// Catches an extension that is said not to be installed where nobody could look, and a removal of
// all others that goes by half of the stores.
TEST_F(Change, StoreThatCannotBeReadIsNamed) {
    install("com.example.a", "1.0");
    const std::string database = machine_.user("store.db");
    const Environment clean = machine_.environment();
    machine_.environment().insert({{"LD_PRELOAD", TAVIK_FAULTS_LIBRARY},
                                   {"ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0"},
                                   {"FAULT_PATH", "store.db"},
                                   {"FAULT", std::to_string(EACCES)}});
    const List unreadable{"noPermission " + database};
    for (const char* verb : {"info", "remove", "disable", "update", "verify"})
        EXPECT_EQ(failures(json(kFailed, {verb, "com.example.a"})), unreadable) << verb;
    const Result frozen = tavik({"freeze"});
    EXPECT_EQ(frozen.exitCode, kFailed);
    const std::string file = machine_.path("state.json");
    writeFile(file, R"({"formatVersion": 1, "extensions": []})");
    EXPECT_EQ(failures(json(kFailed, {"apply", file, "--prune"})), unreadable);

    machine_.environment() = clean;
    writeFile(file, frozen.out);
    EXPECT_EQ(failures(json(kFailed, {"apply", file, "--prune"})),
              List{"stateFileInvalid " + file});
    EXPECT_EQ(listed(), List{"com.example.a 1.0 enabled user"});
}

// Catches a name that silently means the first of several.
TEST_F(Change, SharedNameIsRefusedWithTheIds) {
    install(PackageBuilder("com.example.b", "1").named("Brushes"));
    install(PackageBuilder("com.example.a", "1").named("brushes"));
    install(PackageBuilder("com.example.c", "1").named("Brushes"));
    EXPECT_NE(err(kFailed, {"remove", "Brushes"}).find("(com.example.b, com.example.c)"),
              std::string::npos);
    EXPECT_NE(
        err(kFailed, {"remove", "BRUSHES"}).find("(com.example.a, com.example.b, com.example.c)"),
        std::string::npos);
    EXPECT_EQ(listed().size(), 3U);
}

// Catches suggestions that are missing, far-fetched or more than a few.
TEST_F(Change, MissedNameGetsTheNearestOnes) {
    for (const char* name : {"Brush", "Brushes", "Brashes", "Brushed", "Palettes"})
        install(PackageBuilder(std::string("com.example.") + name, "1").named(name));
    const std::string line = err(kFailed, {"remove", "brushess"});
    EXPECT_NE(line.find("(nearest: \"Brushes\", \"Brashes\", \"Brushed\")"), std::string::npos)
        << line;
    EXPECT_EQ(err(kFailed, {"remove", "zzzzzz"}).find("nearest"), std::string::npos);
}

}  // namespace
}  // namespace tavik::testing
