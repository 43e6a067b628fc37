#include <sys/stat.h>

#include <filesystem>

#include "tests/support/FeedServer.h"
#include "tests/tavik/Front.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;
using List = std::vector<std::string>;

class Apply : public Front {
  protected:
    /// Writes a state file with these entries, given without their braces.
    std::string stateFile(const List& entries) {
        std::string text = R"({"formatVersion": 1, "extensions": [)";
        for (const auto& entry : entries)
            text += (text.back() == '[' ? "{" : ", {") + entry + "}";
        std::string path = machine_.path("state.json");
        writeFile(path, text + "]}");
        return path;
    }

    std::string sourced(const std::string& id, const std::string& version) {
        return R"("id": ")" + id + R"(", "source": ")" + machine_.package(id, version) + '"';
    }
};

// Catches a step that is left out, made twice, or made in a dry run.
TEST_F(Apply, BringsTheStoresThereOnce) {
    install("com.example.a", "1.0");
    install("com.example.keep", "1.0");
    out(kDone, {"disable", "com.example.keep"});
    const std::string file =
        stateFile({sourced("com.example.a", "2.0") + R"(, "version": "2.0")",
                   sourced("com.example.b", "1.0") + R"(, "state": "disabled")",
                   sourced("com.example.c", "1.0") + R"(, "allUsers": true)",
                   R"("id": "com.example.keep", "minVersion": "0.9")"});
    const List wanted{"update com.example.a 1.0 2.0 user", "install com.example.b - 1.0 user",
                      "disable com.example.b 1.0 1.0 user", "install com.example.c - 1.0 allUsers",
                      "enable com.example.keep 1.0 1.0 user"};
    EXPECT_EQ(changes(json(kPending, {"apply", file, "--dry-run"})), wanted);
    EXPECT_EQ(listed(),
              (List{"com.example.a 1.0 enabled user", "com.example.keep 1.0 disabled user"}));
    EXPECT_EQ(changes(json(kDone, {"apply", file})), wanted);
    EXPECT_EQ(changes(json(kDone, {"apply", file})), List{});
    EXPECT_EQ(out(kDone, {"apply", file}), "nothing to do\n");
    EXPECT_EQ(machine_.garbage(), List{});
}

// Catches an older version that is refused although the file asks for it, one that comes without
// being asked for, and a second run that changes something.
TEST_F(Apply, OlderVersionIsBroughtWhereItIsAskedFor) {
    install("com.example.a", "2.0");
    out(kDone, {"disable", "com.example.a"});
    install("com.example.b", "2.0");
    publish({PackageBuilder("com.example.b", "1.0"), PackageBuilder("com.example.b", "2.0")});
    const std::string file =
        stateFile({sourced("com.example.a", "1.0") + R"(, "version": "1.0", "state": "disabled")",
                   R"("id": "com.example.b", "version": "1.0")"});
    const List wanted{"update com.example.a 2.0 1.0 user", "update com.example.b 2.0 1.0 user"};
    EXPECT_EQ(changes(json(kPending, {"apply", file, "--dry-run"})), wanted);
    EXPECT_EQ(changes(json(kDone, {"apply", file})), wanted);
    EXPECT_EQ(changes(json(kDone, {"apply", file})), List{});
    EXPECT_EQ(listed(),
              (List{"com.example.a 1.0 disabled user", "com.example.b 1.0 enabled user"}));
    EXPECT_EQ(machine_.seenByHost("com.example.b", "extension.json").empty(), false);

    const std::string lower = stateFile({sourced("com.example.b", "0.9")});
    EXPECT_EQ(changes(json(kDone, {"apply", lower})), List{});
    EXPECT_EQ(failures(json(kFailed, {"install", machine_.package("com.example.b", "0.9")})).size(),
              1U);
    const std::string gone =
        stateFile({R"("id": "com.example.b", "version": "0.9", "source": "nothing.qpk")"});
    EXPECT_EQ(failures(json(kFailed, {"apply", gone, "--dry-run"})),
              List{"packageUnreadable " + machine_.path("nothing.qpk")});
}

// Catches a state that does not survive the way through a file, and what --prune leaves or takes
// wrongly.
TEST_F(Apply, FrozenStateComesBack) {
    install("com.example.a", "1.0");
    install("com.example.b", "1.0");
    out(kDone, {"disable", "com.example.b"});
    out(kDone, {"install", machine_.package("com.example.a", "1.5"), "--all-users"});
    const List before = listed();
    const std::string frozen = out(kDone, {"freeze"});
    document("freeze", frozen);
    const std::string file = machine_.path("frozen.json");
    writeFile(file, frozen);

    install("com.example.more", "1.0");
    out(kDone, {"enable", "com.example.b"});
    EXPECT_EQ(changes(json(kDone, {"apply", file, "--prune"})),
              (List{"disable com.example.b 1.0 1.0 user", "remove com.example.more 1.0 - user"}));
    EXPECT_EQ(listed(), before);
    EXPECT_EQ(changes(json(kDone, {"apply", file, "--prune"})), List{});
}

// Catches an entry that cannot be done and takes the others along, and a package that is installed
// although it is not the wanted one.
TEST_F(Apply, DoesTheRestOfWhatCannotBeDone) {
    install("com.example.new", "3.0");
    FeedServer server;
    server.serve("/b.qpk", {PackageBuilder("com.example.b", "1.0").bytes()});
    const std::string address = R"(, "source": ")" + server.address("/b.qpk") + '"';
    const std::string wrongDigest = R"(, "sha256": ")" + std::string(64, 'a') + '"';
    const std::string file = stateFile({
        sourced("com.example.a", "1.0") + wrongDigest,
        R"("id": "com.example.other")" + address,
        sourced("com.example.c", "1.0") + R"(, "version": "2.0")",
        sourced("com.example.d", "1.0") + R"(, "minVersion": "1.1")",
        R"("id": "com.example.none")",
        R"("id": "com.example.new", "version": "2.0")",
        R"("id": "com.example.b")" + address,
    });
    const auto document = json(kFailed, {"apply", file});
    EXPECT_EQ(changes(document), List{"install com.example.b - 1.0 user"});
    List names;
    for (const auto& each : document["failures"].GetArray())
        names.push_back(text(each, "name"));
    EXPECT_EQ(names, (List{"packageNotWanted", "packageNotWanted", "packageNotWanted",
                           "packageNotWanted", "notOffered", "notOffered"}));
    EXPECT_EQ(listed(),
              (List{"com.example.b 1.0 enabled user", "com.example.new 3.0 enabled user"}));
    EXPECT_EQ(machine_.garbage(), List{});
}

// Catches a source that is fetched past the administrator's mirror.
TEST_F(Apply, SourcesAreFetchedWhereThePolicyLeads) {
    FeedServer server;
    server.serve("/mirror/a.qpk", {PackageBuilder("com.example.a", "1.0").bytes()});
    writeFile(machine_.shared("policy.json"), R"({"redirects": {")" + server.address("/origin/") +
                                                  R"(": ")" + server.address("/mirror/") +
                                                  R"("}})");
    const std::string file = stateFile(
        {R"("id": "com.example.a", "source": ")" + server.address("/%6Frigin/./a.qpk") + '"'});
    EXPECT_EQ(changes(json(kDone, {"apply", file})), List{"install com.example.a - 1.0 user"});
    EXPECT_TRUE(server.requests("/origin/a.qpk").empty());
}

// Catches a relative source that begins at the caller's folder instead of the file's.
TEST_F(Apply, SourcesBeginAtTheFile) {
    PackageBuilder("com.example.a", "1.0").write(machine_.path("state/packages/a.qpk"));
    writeFile(machine_.path("state/state.json"),
              R"({"formatVersion": 1, "extensions": [{"id": "com.example.a",
                  "source": "packages/a.qpk"}]})");
    EXPECT_EQ(changes(json(kDone, {"apply", machine_.path("state/state.json")})),
              List{"install com.example.a - 1.0 user"});
}

// Catches a pipe without a writer that holds the tool up for ever, a standard input that is not
// read, and sources in it that begin in the folder of devices.
TEST_F(Apply, ReadsNoPipeButTheStandardInput) {
    const std::string pipe = machine_.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path : {pipe, machine_.path(""), machine_.path("nothing")})
        EXPECT_EQ(failures(json(kFailed, {"apply", path})), List{"stateFileInvalid " + path});
    int version = 0;
    for (const std::string file : {"-", "/dev/stdin"}) {
        const std::string next = std::to_string(++version) + ".0";
        PackageBuilder("com.example.a", next).write(machine_.path("here/a.qpk"));
        writeFile(machine_.path("state.json"), R"({"formatVersion": 1, "extensions": [{
            "id": "com.example.a", "source": "a.qpk", "version": ")" +
                                                   next + "\"}]}");
        const Result result = run({"sh", "-c", R"(cd "$1" && cat ../state.json | "$0" apply "$2")",
                                   program("tavik"), machine_.path("here"), file},
                                  machine_.environment());
        EXPECT_EQ(result.exitCode, kDone) << result.err;
        EXPECT_EQ(listed(), List{"com.example.a " + next + " enabled user"}) << file;
    }
}

// Catches a fault that is taken for nothing: half of the file would be applied.
TEST_F(Apply, FaultyFileChangesNothing) {
    install("com.example.a", "1.0");
    const std::string a = R"("id": "com.example.a")";
    const List faulty[] = {
        {a + R"(, "stat": "disabled")"},
        {a + R"(, "state": "off")"},
        {a + R"(, "version": "one")"},
        {a + R"(, "version": "1", "minVersion": "1")"},
        {a + R"(, "sha256": "abc")"},
        {a + R"(, "allUsers": "yes")"},
        {a + R"(, "state": "masked")"},
        {R"("id": "../a")"},
        {R"("version": "1.0")"},
        {a, R"("id": "COM.EXAMPLE.A")"},
        {a + R"(, "state": "disabled")", R"("id": 1)"},
    };
    for (const auto& entries : faulty) {
        const auto document = json(kFailed, {"apply", stateFile(entries), "--prune"});
        EXPECT_EQ(failures(document), List{"stateFileInvalid " + machine_.path("state.json")})
            << entries.back();
    }
    for (const char* text :
         {"", "[]", "{}", R"({"formatVersion": 2, "extensions": []})",
          R"({"formatVersion": 1, "extensions": [], "extension": []})",
          R"({"formatVersion": 1, "extensions": [], "failures": [{"name": "inputOutput"}]})"}) {
        writeFile(machine_.path("state.json"), text);
        EXPECT_EQ(failures(json(kFailed, {"apply", machine_.path("state.json"), "--prune"})).size(),
                  1U)
            << text;
    }
    EXPECT_EQ(listed(), List{"com.example.a 1.0 enabled user"});
}

}  // namespace
}  // namespace tavik::testing
