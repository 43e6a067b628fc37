#include <gtest/gtest.h>

#include <filesystem>

#include "platform/core/package/Package.h"
#include "platform/support/Json.h"
#include "tests/support/Machine.h"

namespace tavik::testing {
namespace {

constexpr int kFeedSignerChanged = 256 - 42;
constexpr int kSignatureMissing = 256 - 55;
constexpr int kSignerUnknown = 256 - 56;
constexpr int kSignatureWrong = 256 - 57;
constexpr int kContentDiffers = 256 - 58;
constexpr int kSignerChanged = 256 - 59;
constexpr int kKeyInvalid = 256 - 60;
constexpr int kSignerRevoked = 256 - 62;

using List = std::vector<std::string>;

/// Real packages, signed by the real tool, on their way into a machine.
class SignedInstall : public ::testing::Test {
  protected:
    SignedInstall() {
        for (const char* name : {"one", "two"})
            qpk({"keygen", machine_.path(name)});
        // "four" takes the place of "three", and that the place of "one".
        qpk({"keygen", machine_.path("three"), "--succeeds", machine_.path("one.key")});
        qpk({"keygen", machine_.path("four"), "--succeeds", machine_.path("three.key")});
    }

    static void qpk(List arguments) {
        arguments.insert(arguments.begin(), program("qpk"));
        const Result result = run(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.err;
    }

    /// `key`: "one", "two", or empty for an unsigned package.
    std::string package(const std::string& version, const std::string& key) {
        std::string path = machine_.package("com.example.a", version);
        if (key.empty())
            return path;
        qpk({"sign", path, "--key", machine_.path(key + ".key")});
        return path;
    }

    void requireSignatures() const {
        writeFile(machine_.shared("policy.json"), R"({"requireSignature": true})");
    }
    void trustKeyOne() const {
        writeFile(machine_.shared("trusted-keys/a.pem"), readFile(machine_.path("one.pem")));
    }

    void expectInstall(int status, const std::string& path, const List& listed) const {
        const Result result = machine_.install(path);
        EXPECT_EQ(result.exitCode, status) << result.err;
        EXPECT_EQ(result.err.empty(), status == 0) << result.err;
        EXPECT_EQ(machine_.listed(), listed);
    }

    Machine machine_;
};

TEST_F(SignedInstall, IsUpdatedByItsOwnSignerOnly) {
    expectInstall(0, package("1.0", ""), {"Enabled com.example.a 1.0"});
    expectInstall(0, package("1.1", "one"), {"Enabled com.example.a 1.1"});
    expectInstall(kSignerChanged, package("1.2", ""), {"Enabled com.example.a 1.1"});
    expectInstall(kSignerChanged, package("1.2", "two"), {"Enabled com.example.a 1.1"});
    expectInstall(0, package("1.2", "one"), {"Enabled com.example.a 1.2"});
    EXPECT_EQ(machine_.tavik({"--remove", "com.example.a"}).exitCode, 0);
    expectInstall(0, package("1.2", "two"), {"Enabled com.example.a 1.2"});
}

// An author who changes the key reaches those who have the extension, and nobody else does.
TEST_F(SignedInstall, IsUpdatedBySuccessorsOfItsSigner) {
    expectInstall(0, package("1.0", "one"), {"Enabled com.example.a 1.0"});
    expectInstall(kSignerChanged, package("1.1", "two"), {"Enabled com.example.a 1.0"});
    expectInstall(0, package("1.1", "four"), {"Enabled com.example.a 1.1"});
    expectInstall(kSignerChanged, package("1.2", "one"), {"Enabled com.example.a 1.1"});

    // A statement that was made for another key, and one that nobody signed.
    const std::string statements = readFile(machine_.path("four.succession.json"));
    writeFile(machine_.path("two.succession.json"), statements);
    expectInstall(kSignerChanged, package("1.2", "two"), {"Enabled com.example.a 1.1"});
    const auto fingerprint = [&](const std::string& name) {
        const std::string shown = run({program("qpk"), "show", package("9", name)}).out;
        return shown.substr(shown.find("key ") + 4, 64);
    };
    std::string forged = statements;
    for (std::size_t at; (at = forged.find(fingerprint("four"))) != std::string::npos;)
        forged.replace(at, 64, fingerprint("two"));
    PackageBuilder builder("com.example.a", "1.3");
    const std::string plain = machine_.package(builder);
    std::filesystem::remove(machine_.path("two.succession.json"));
    qpk({"sign", plain, "--key", machine_.path("two.key")});
    const Package original = Package::open(plain);
    for (const char* path : {"META-INF/content.json", "META-INF/content.json.sig"})
        builder.file(path, original.read(*original.archive().find(path), 10'000));
    expectInstall(kSignatureWrong,
                  machine_.package(builder.file("META-INF/succession.json", forged)),
                  {"Enabled com.example.a 1.1"});
}

// A stolen key: an administrator takes it back, and with it its word about a successor.
TEST_F(SignedInstall, DoesNotCountKeysThatWereTakenBack) {
    requireSignatures();
    trustKeyOne();
    expectInstall(0, package("1.0", "one"), {"Enabled com.example.a 1.0"});
    expectInstall(0, package("1.1", "three"), {"Enabled com.example.a 1.1"});
    writeFile(machine_.shared("trusted-keys/revoked/x.pem"), readFile(machine_.path("three.pem")));
    expectInstall(kSignerRevoked, package("1.2", "three"), {"Enabled com.example.a 1.1"});
    expectInstall(kSignerUnknown, package("1.2", "four"), {"Enabled com.example.a 1.1"});
    // What the key signed may be replaced by whom the administrator trusts.
    expectInstall(0, package("1.2", "one"), {"Enabled com.example.a 1.2"});
    writeFile(machine_.shared("trusted-keys/revoked/y.pem"), readFile(machine_.path("one.pem")));
    expectInstall(kSignerRevoked, package("1.3", "one"), {"Enabled com.example.a 1.2"});
}

// What all users have from one signer, no user gets from another under the same id.
TEST_F(SignedInstall, TakesThePlaceOfASharedOneByItsSignerOnly) {
    ASSERT_EQ(machine_.tavik({"--install_for_all", package("1.0", "one")}).exitCode, 0);
    expectInstall(kSignerChanged, package("1.1", ""), {"Enabled com.example.a 1.0"});
    expectInstall(kSignerChanged, package("1.1", "two"), {"Enabled com.example.a 1.0"});
    expectInstall(0, package("1.1", "one"), {"Enabled com.example.a 1.1"});
}

TEST_F(SignedInstall, KeepsToWhatAnAdministratorRequires) {
    requireSignatures();
    expectInstall(kSignatureMissing, package("1.0", ""), {});
    expectInstall(kSignerUnknown, package("1.0", "one"), {});
    trustKeyOne();
    expectInstall(0, package("1.0", "one"), {"Enabled com.example.a 1.0"});
    writeFile(machine_.user("trusted-keys/broken.pem"), "x");
    expectInstall(kKeyInvalid, package("1.1", "one"), {"Enabled com.example.a 1.0"});
}

TEST_F(SignedInstall, RefusesWhatIsWrongWhateverThePolicy) {
    const Package original = Package::open(package("1.0", "one"));
    PackageBuilder changed("com.example.a", "1.0");
    changed.file("content.txt", "1.1");
    for (const char* path : {"META-INF/content.json", "META-INF/content.json.sig"})
        changed.file(path, original.read(*original.archive().find(path), 10'000));
    expectInstall(kContentDiffers, machine_.package(changed), {});
    EXPECT_EQ(machine_.garbage(), List{});
}

// An update comes from a feed that is signed as well, and leaves all as it was where it is not.
TEST_F(SignedInstall, IsUpdatedFromASignedFeed) {
    const std::string web = machine_.path("web");
    const auto build = [&](const std::string& version, const std::string& path) {
        PackageBuilder("com.example.a", version)
            .with("updateUrl", quoteJson("file://" + web + "/feed.json"))
            .write(path);
        qpk({"sign", path, "--key", machine_.path("one.key")});
    };
    const auto update = [&] { return machine_.tavik({"--update", "com.example.a"}).exitCode; };
    requireSignatures();
    trustKeyOne();
    build("1.0", machine_.path("a.qpk"));
    build("1.1", web + "/a.qpk");
    expectInstall(0, machine_.path("a.qpk"), {"Enabled com.example.a 1.0"});

    qpk({"feed", web});
    EXPECT_EQ(update(), kSignatureMissing);
    qpk({"feed", web, "--key", machine_.path("two.key")});
    EXPECT_EQ(update(), kSignerUnknown);
    qpk({"feed", web, "--key", machine_.path("one.key")});
    const std::string feed = readFile(web + "/feed.json");
    writeFile(web + "/feed.json", feed + "\n");
    EXPECT_EQ(update(), kSignatureWrong);
    EXPECT_EQ(machine_.listed(), List{"Enabled com.example.a 1.0"});
    writeFile(web + "/feed.json", feed);
    EXPECT_EQ(update(), 0);
    EXPECT_EQ(machine_.listed(), List{"Enabled com.example.a 1.1"});
}

// A publisher who lost the key has nothing to sign a successor with. The administrator's choice
// must do, and must not let one trusted author pass for another.
TEST_F(SignedInstall, TakesAFeedFromTheKeyThatIsTrustedInThePlaceOfTheFormer) {
    const std::string web = machine_.path("web");
    const auto build = [&](const std::string& version, const std::string& path) {
        PackageBuilder("com.example.a", version)
            .with("updateUrl", quoteJson("file://" + web + "/feed.json"))
            .write(path);
    };
    const auto publish = [&](const std::string& version, const std::string& key) {
        build(version, web + "/a.qpk");
        qpk({"feed", web, "--key", machine_.path(key + ".key")});
    };
    const auto update = [&] { return machine_.tavik({"--update", "com.example.a"}).exitCode; };
    build("1.0", machine_.path("a.qpk"));
    expectInstall(0, machine_.path("a.qpk"), {"Enabled com.example.a 1.0"});
    publish("1.1", "one");
    EXPECT_EQ(update(), 0);

    publish("1.2", "two");
    EXPECT_EQ(update(), kFeedSignerChanged);
    const std::string keys = machine_.shared("trusted-keys/");
    writeFile(keys + "one.pem", readFile(machine_.path("one.pem")));
    writeFile(keys + "two.pem", readFile(machine_.path("two.pem")));
    EXPECT_EQ(update(), kFeedSignerChanged) << "both are trusted, each with its own";
    std::filesystem::remove(keys + "one.pem");
    EXPECT_EQ(update(), 0);
    EXPECT_EQ(machine_.listed(), List{"Enabled com.example.a 1.2"});

    publish("1.3", "one");
    EXPECT_EQ(update(), kFeedSignerChanged);
}

// Start-up time counts: a run that meets no signature has no use for the cryptography.
TEST_F(SignedInstall, LoadsTheCryptographyOnlyForASignature) {
    machine_.environment()["LD_DEBUG"] = "files";
    const auto loads = [&](const std::string& path) {
        const Result result = machine_.install(path);
        EXPECT_EQ(result.exitCode, 0);
        return result.err.find("libcrypto") != std::string::npos;
    };
    EXPECT_FALSE(loads(package("1.0", "")));
    EXPECT_TRUE(loads(package("1.1", "one")));
}

}  // namespace
}  // namespace tavik::testing
