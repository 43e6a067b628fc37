#include <filesystem>

#include "platform/core/crypto/OpenSslCrypto.h"
#include "platform/core/package/Package.h"
#include "platform/core/trust/Succession.h"
#include "tests/qpk/Qpk.h"
#include "tests/support/PackageBuilder.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;

using Keygen = Qpk;
using Sign = Qpk;
using CommandLine = Qpk;

TEST_F(Keygen, KeepsThePrivateKeyPrivateAndOverwritesNothing) {
    key("k");
    EXPECT_EQ(fs::status(at("k.key")).permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(at("k.pem")).permissions(), fs::perms(0644));
    expectIn("exists already", bad({"keygen", at("k")}));
    fs::remove(at("k.key"));
    expectIn("k.pem: it exists already", bad({"keygen", at("k")}));
    EXPECT_FALSE(fs::exists(at("k.key"))) << "half a pair was left";
}

TEST_F(Sign, ReplacesTheFileByTheSignedOne) {
    const std::string file = package("a");
    const std::string unsignedBytes = readFile(file);
    fs::permissions(file, fs::perms(0640));
    fs::create_symlink(file, at("link.qpk"));
    const std::string fingerprint = good({"sign", at("link.qpk"), "--key", key("k")})
                                        .substr((at("link.qpk") + ": signed by key ").size(), 64);
    EXPECT_TRUE(fs::is_symlink(at("link.qpk")));
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640));
    expectIn("signature     key " + fingerprint, good({"show", file}));
    expectIn("no faults", good({"check", file}));

    const std::string once = readFile(file);
    good({"sign", file, "--key", at("k.key")});
    EXPECT_EQ(readFile(file), once) << "the same key signs the same content differently";
    good({"sign", file, "--key", key("other")});
    EXPECT_EQ(good({"show", file}).find(fingerprint), std::string::npos);
    expectIn("no faults", good({"check", file}));
}

// Packages of other tools have data descriptors, other orders and methods; their data is kept.
TEST_F(Sign, TakesPackagesOfOtherTools) {
    PackageBuilder builder("com.example.a", "1.0");
    builder.file("a.txt", std::string(5000, 'x')).stored("b", "y").folder("f").reverseDirectory();
    builder.write(at("a.qpk"));
    good({"sign", at("a.qpk"), "--key", key("k")});
    expectIn("no faults", good({"check", at("a.qpk")}));
    const Package package = Package::open(at("a.qpk"));
    EXPECT_EQ(package.read(*package.archive().find("a.txt"), 5000), std::string(5000, 'x'));
}

TEST_F(Sign, ChangesNothingWhereItFails) {
    const std::string file = package("a");
    PackageBuilder("a", "1").file("META-INF/x", "").write(at("reserved.qpk"));
    PackageBuilder("a", "1").file("../up", "").write(at("unsafe.qpk"));
    const std::string k = key("k");
    const struct {
        std::string file;
        std::string key;
        const char* text;
    } rows[] = {
        {file, at("k.pem"), "has a block PUBLIC KEY"},
        {at("reserved.qpk"), k, "META-INF is reserved"},
        {at("unsafe.qpk"), k, "entry \"../up\""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.file + " " + row.key);
        const std::string before = readFile(row.file);
        expectIn(row.text, bad({"sign", row.file, "--key", row.key}));
        EXPECT_EQ(readFile(row.file), before);
    }
    for (const auto& entry : fs::directory_iterator(folder_.path()))
        EXPECT_NE(entry.path().filename().string().front(), '.') << "left: " << entry.path();
}

// Half of what a new key needs must not be left, and an old key's own history goes along.
TEST_F(Keygen, NamesASuccessor) {
    key("a");
    good({"keygen", at("b"), "--succeeds", at("a.key")});
    const std::string said = good({"keygen", at("c"), "--succeeds", at("b.key")});
    expectIn("succession    " + at("c.succession.json"), said);
    const auto statements = parseSuccessions(readFile(at("c.succession.json")));
    OpenSslCrypto crypto;
    const auto fingerprint = [&](const std::string& name) {
        return crypto.readPublicKey(readFile(at(name + ".pem"))).fingerprint;
    };
    const std::vector<std::string> expected{fingerprint("b"), fingerprint("a")};
    EXPECT_EQ(keysSucceededBy(fingerprint("c"), statements, {}, crypto), expected);
    EXPECT_EQ(keysSucceededBy(fingerprint("c"), statements, {expected[0]}, crypto),
              std::vector<std::string>{});

    writeFile(at("d.succession.json"), "old");
    expectIn("exists already", bad({"keygen", at("d"), "--succeeds", at("a.key")}));
    EXPECT_FALSE(fs::exists(at("d.key")) || fs::exists(at("d.pem")));
}

// A key in a file is not what every build server has; none of these forms shows it to others.
TEST_F(Sign, TakesTheKeyFromADescriptorOrTheEnvironment) {
    const std::string file = package("a");
    const std::string k = key("k");
    good({"sign", file, "--key", k});
    const std::string expected = readFile(file);
    const auto signAnew = [&](const std::string& script) {
        package("a");
        const Result result =
            run({"sh", "-c", script, program("qpk"), file, k}, {{"QPK_KEY", readFile(k)}});
        EXPECT_EQ(result.exitCode, 0) << script << result.err;
        EXPECT_EQ(readFile(file), expected) << script;
    };
    signAnew("cat \"$2\" | \"$0\" sign \"$1\" --key fd:0");
    signAnew("\"$0\" sign \"$1\" --key fd:7 7< \"$2\"");
    signAnew("\"$0\" sign \"$1\" --key env:QPK_KEY");
    expectIn("not set", bad({"sign", file, "--key", "env:QPK_NONE"}));
    expectIn("fd:99", bad({"sign", file, "--key", "fd:99"}));
    EXPECT_EQ(qpk({"sign", file, "--key", "fd:x"}).exitCode, 2);
}

TEST_F(CommandLine, ExplainsItselfAndTellsUsageFromFailure) {
    for (const std::string command : {"pack", "check", "show", "keygen", "sign", "feed"}) {
        EXPECT_EQ(good({command, "--help"}).rfind("usage: qpk " + command, 0), 0U);
        expectIn("\n  " + command, good({"--help"}));
    }
    const std::vector<std::vector<std::string>> wrong = {
        {},
        {"pack"},
        {"pack", "a", "--bogus"},
        {"pack", "a", "-o"},
        {"pack", "a", "-o", "b", "--output", "c"},
        {"sign", "a"},
        {"feed", at(""), "--serial", "-1"},
        {"feed", at(""), "--expires", "2099-02-29"},
        {"feed", at(""), "--expires", "2020-01-01"},
    };
    for (const auto& arguments : wrong) {
        const Result result = qpk(arguments);
        EXPECT_EQ(result.exitCode, 2) << (arguments.empty() ? "" : arguments.back()) << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.err, "");
    }
    const Result full = run({"sh", "-c", "exec \"$0\" --help > /dev/full", program("qpk")});
    EXPECT_EQ(full.exitCode, 1) << "lost output passes for success";
}

}  // namespace
}  // namespace tavik::testing
