#include <fcntl.h>
#include <unistd.h>

#include "tests/tavik/Front.h"

namespace tavik::testing {
namespace {

using List = std::vector<std::string>;

class Outputs : public Front {};

// Catches a wrong command line that is half done, or told by another status than 2.
TEST_F(Outputs, WrongCommandLineDoesNothing) {
    install("com.example.a", "1.0");
    const List lines[] = {{"nosuchverb"},
                          {"remove"},
                          {"remove", ""},
                          {"remove", "com.example.a", "--nosuch"},
                          {"disable", "com.example.a", "--all-user"},
                          {"update"},
                          {"update", "com.example.a", "--all"},
                          {"list", "com.example.a"},
                          {"list", "--product"},
                          {"list", "--check"},
                          {"list", "--user", "--all-users"},
                          {"history", "--since", "2026-13-01"},
                          {"info", "com.example.a", "b"},
                          {"apply", "a", "b"},
                          {"mirror", "https://example.com/feed.json"},
                          {"--nosuch"},
                          {"help", "nosuchverb"}};
    for (const auto& arguments : lines)
        EXPECT_EQ(err(kUsage, arguments).rfind("tavik: command line: ", 0), 0U) << arguments.back();
    EXPECT_EQ(listed(), List{"com.example.a 1.0 enabled user"});
}

// Catches a document that is missing where a script waits for one.
TEST_F(Outputs, WrongCommandLineIsADocumentToo) {
    const Result result = tavik({"remove", "--json"});
    EXPECT_EQ(result.exitCode, kUsage);
    EXPECT_EQ(failures(document("remove", result.out)), List{"invalidArgument command line"});
    EXPECT_NE(
        err(kUsage, {"instal", "x", "y"}).find("(\"instal\" is no verb, nearest: \"install\")"),
        std::string::npos);
    for (const List& arguments : {List{"--json", "list"}, List{"--json"}})
        EXPECT_NE(tavik(arguments).err.find("stand behind the verb"), std::string::npos);
    EXPECT_NE(err(kUsage, {"list", "--al"}).find("no option of list"), std::string::npos);
    EXPECT_EQ(failures(json(kUsage, {"update"})), List{"invalidArgument command line"});
}

// Catches a failure of the whole verb that leaves the document without its members.
TEST_F(Outputs, FailureOfTheWholeKeepsTheMembers) {
    machine_.environment()["TAVIK_HOME"] = "relative";
    for (const char* verb : {"list", "products", "freeze"})
        EXPECT_EQ(failures(json(kFailed, {verb})), List{"noHome TAVIK_HOME=relative"}) << verb;
    for (const char* verb : {"remove", "install", "info", "apply"})
        EXPECT_EQ(json(kFailed, {verb, machine_.package("com.example.a", "1")})["failures"].Size(),
                  1U)
            << verb;
}

// Catches a result that is lost and passes for success.
TEST_F(Outputs, LostOutputIsAFailure) {
    install("com.example.a", "1.0");
    for (const char* command : {"list", "list --json", "products", "info com.example.a", "freeze",
                                "--version", "help", "remove com.example.a"}) {
        const Result result = run(
            {"sh", "-c", "exec \"$0\" " + std::string(command) + " >/dev/full", program("tavik")},
            machine_.environment());
        EXPECT_EQ(result.exitCode, kFailed) << command;
        EXPECT_NE(result.err.find("the output cannot be written"), std::string::npos) << command;
    }
    install("com.example.a", "1.0");
    const Result result =
        run({"bash", "-c", "{ \"$0\" list; echo $? >&2; } | true; exit 0", program("tavik")},
            machine_.environment());
    // Who reads may be gone before or after the line is written: no signal ends the tool.
    EXPECT_EQ(result.err.find("141"), std::string::npos) << result.err;
}

// Catches an explanation in another language than was asked for.
TEST_F(Outputs, LanguageComesFromTheEnvironmentOrTheOption) {
    const struct {
        Environment variables;
        List option;
        const char* part;
    } rows[] = {
        {{}, {}, "no installed extension"},
        {{{"LANG", "de_DE.UTF-8"}}, {}, "keine installierte Erweiterung"},
        {{{"LANG", "de_DE.UTF-8"}, {"LC_MESSAGES", "fr_FR.UTF-8"}}, {}, "aucune extension"},
        {{{"LC_MESSAGES", "fr_FR.UTF-8"}, {"LC_ALL", "C"}}, {}, "no installed extension"},
        {{{"LC_ALL", ""}, {"LANG", "de"}}, {}, "keine installierte Erweiterung"},
        {{{"LC_ALL", "fr"}}, {"--locale", "de"}, "tavik list an"},
    };
    for (const auto& row : rows) {
        Environment environment = machine_.environment();
        environment.insert(row.variables.begin(), row.variables.end());
        std::vector<std::string> command{program("tavik"), "remove", "x"};
        command.insert(command.end(), row.option.begin(), row.option.end());
        const Result result = run(command, environment);
        EXPECT_NE(result.err.find(row.part), std::string::npos) << row.part << ": " << result.err;
    }
}

// Catches control sequences in a file or pipe, and a name that moves a terminal's cursor.
TEST_F(Outputs, PipeGetsPlainWholeText) {
    const std::string name(200, 'n');
    install(PackageBuilder("com.example.a", "1.0").named(name));
    const std::string text = out(kDone, {"list"});
    EXPECT_NE(text.find(name), std::string::npos);
    EXPECT_EQ(text.find('\x1b'), std::string::npos);
    EXPECT_EQ(err(kFailed, {"remove", "a\x1b[2Jb\nc"}).find_first_of("\x1b"), std::string::npos);
}

// Catches a name of an older version's row that turns a terminal's line round.
TEST_F(Outputs, NameInAnyPlaceIsPrintable) {
    install("com.example.a", "1.0");
    // The row is changed by hand, and the store's seal made right again.
    const Result changed =
        run({"python3", "-c",
             "import sqlite3, sys, zlib; p = sys.argv[1]; b = open(p, 'rb').read()[:-16];"
             "open(p, 'wb').write(b); c = sqlite3.connect(p);"
             "c.execute('UPDATE extension SET name = ?', ['x\\u202ey']); c.commit(); c.close();"
             "b = open(p, 'rb').read(); open(p, 'ab').write(b'TavkSum1%08x' % zlib.crc32(b))",
             machine_.user("store.db")});
    ASSERT_EQ(changed.exitCode, 0) << changed.err;
    for (const List& arguments :
         {List{"list"}, List{"info", "com.example.a"}, List{"complete", "installed", "both"}}) {
        const std::string text = out(kDone, arguments);
        EXPECT_NE(text.find("x?y"), std::string::npos) << text;
        EXPECT_EQ(text.find("\xE2\x80\xAE"), std::string::npos) << text;
    }
}

// Catches a table that is wider than its window, and colour that nobody wants.
TEST_F(Outputs, TerminalGetsAFittingTable) {
    install(PackageBuilder("com.example.a", "1.0").named(std::string(200, 'n')));
    const auto lines = [&](const std::string& variables) {
        return run({"script", "-qec",
                    variables + " sh -c 'stty cols 70; exec " + program("tavik") + " list'",
                    "/dev/null"},
                   machine_.environment())
            .out;
    };
    const std::string plain = lines("TERM=xterm NO_COLOR=1");
    std::size_t start = 0;
    for (std::size_t end = 0; (end = plain.find('\r', start)) != std::string::npos;
         start = end + 2) {
        std::size_t columns = 0;
        for (const char c : plain.substr(start, end - start))
            columns += (static_cast<unsigned char>(c) & 0xC0U) == 0x80U ? 0U : 1U;
        EXPECT_LE(columns, 70U) << plain;
    }
    EXPECT_GT(start, 0U) << plain;
    EXPECT_EQ(plain.find('\x1b'), std::string::npos) << plain;
    EXPECT_NE(lines("TERM=xterm").find("\x1b[32m"), std::string::npos);
    EXPECT_EQ(lines("TERM=dumb").find('\x1b'), std::string::npos);
}

TEST_F(Outputs, VersionNamesTheLibraries) {
    const std::string text = out(kDone, {"--version"});
    EXPECT_EQ(text.rfind("tavik ", 0), 0U);
    for (const char* library : {"\n  SQLite 3.", "\n  libcurl ", "\n  OpenSSL 3."})
        EXPECT_NE(text.find(library), std::string::npos) << text;
    EXPECT_EQ(out(kDone, {"help", "list"}), out(kDone, {"list", "--help"}));
    EXPECT_NE(out(kDone, {"help", "list"}).find("Usage: tavik list ["), std::string::npos);
    EXPECT_NE(out(kDone, {"help", "remove"}).find(" NAME...\n"), std::string::npos);
    for (const List& arguments : {List{"--help"}, List{"help"}})
        EXPECT_EQ(out(kDone, {}), out(kDone, arguments));
}

}  // namespace
}  // namespace tavik::testing
