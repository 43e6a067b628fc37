#include <gtest/gtest.h>

#include <filesystem>

#include "platform/core/crypto/DetachedSignature.h"
#include "platform/core/crypto/OpenSslCrypto.h"
#include "platform/core/net/Online.h"
#include "platform/core/trust/Signer.h"
#include "platform/core/trust/TrustedKeys.h"
#include "tests/package/Expect.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {
namespace {

// A key of the same form for another algorithm.
constexpr const char* kX25519 =
    "-----BEGIN PUBLIC KEY-----\n"
    "MCowBQYDK2VuAyEAGb9ECWmEzf6FQbrBZ9w7lshQhqowtrbLDFw4rXAxZuE=\n"
    "-----END PUBLIC KEY-----\n";

// The neutral point with its sign bit set: under it, one signature fits every message.
constexpr const char* kSmallOrder =
    "-----BEGIN PUBLIC KEY-----\n"
    "MCowBQYDK2VwAyEAAQAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAIA=\n"
    "-----END PUBLIC KEY-----\n";

TEST(TrustedKeys, AreThePemFilesOfBothFolders) {
    OpenSslCrypto crypto;
    const PublicKey user = PrivateKey::generate().publicKey();
    const PublicKey shared = PrivateKey::generate().publicKey();
    const PublicKey other = PrivateKey::generate().publicKey();
    const TemporaryFolder folder;
    writeFile(folder / "user/trusted-keys/a.pem", "From: somebody\n\n" + user.pem());
    writeFile(folder / "shared/trusted-keys/b.pem", shared.pem());
    writeFile(folder / "shared/trusted-keys/.half.pem", "-----BEGIN");
    writeFile(folder / "shared/trusted-keys/README", other.pem());
    const TrustedKeys keys({folder / "user", folder / "shared", folder / "missing"});
    EXPECT_TRUE(keys.contain(user.fingerprint(), crypto));
    EXPECT_TRUE(keys.contain(shared.fingerprint(), crypto));
    EXPECT_FALSE(keys.contain(other.fingerprint(), crypto));
}

// Each row is a file that somebody took for a key. Skipping it in silence would leave every
// signature unknown, and nobody told why.
TEST(TrustedKeys, NameTheFileThatIsNoKey) {
    OpenSslCrypto crypto;
    const PrivateKey key = PrivateKey::generate();
    const std::string good = key.publicKey().pem();
    const TemporaryFolder sound;
    writeFile(sound / "trusted-keys/a.pem", good);
    const struct {
        const char* name;
        std::string text;
        const char* cause;
    } rows[] = {
        {"empty", "", "no PEM block"},
        {"private", key.pem(), "has a block PRIVATE KEY"},
        {"two keys", good + PrivateKey::generate().publicKey().pem(), "more than one"},
        {"other kind", kX25519, "another kind"},
        {"a byte behind the key", std::string(good).replace(good.find('='), 1, "A"), "no key in"},
        {"no DER", "-----BEGIN PUBLIC KEY-----\nAAAA\n-----END PUBLIC KEY-----\n", "no key in"},
        {"small order", kSmallOrder, "small order"},
        {"too long", good + std::string(20'000, '\n'), "more than 16384 bytes"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const TemporaryFolder family;
        writeFile(family / "trusted-keys/z.pem", row.text);
        // Also for the key that was found before.
        const TrustedKeys keys({sound.path().string(), family.path().string()});
        for (const char* named : {row.cause, "trusted-keys/z.pem"})
            expectStatus(Status::keyInvalid, named,
                         [&] { keys.contain(key.publicKey().fingerprint(), crypto); });
    }
}

TEST(TrustedKeys, AreRefusedWhereOthersCouldAddOne) {
    OpenSslCrypto crypto;
    const TemporaryFolder family;
    const std::string folder = family / "trusted-keys";
    writeFile(folder + "/a.pem", PrivateKey::generate().publicKey().pem());
    const TrustedKeys keys({family.path().string()});
    std::filesystem::permissions(folder, std::filesystem::perms(0775));
    expectStatus(Status::storeUnsafe, folder, [&] { keys.contain("", crypto); });
    std::filesystem::permissions(folder, std::filesystem::perms(0755));
    std::filesystem::permissions(folder + "/a.pem", std::filesystem::perms(0666));
    expectStatus(Status::storeUnsafe, "a.pem", [&] { keys.contain("", crypto); });
}

// A wrong signature is refused whatever the policy says, under an unknown key as well.
TEST(FeedSignature, IsRefusedWhereItIsWrong) {
    TrustRules rules;
    rules.crypto = []() -> Crypto& { return loadOnline().crypto(); };
    const std::string feed = "{\"serial\": 1}";
    const PrivateKey unknown = PrivateKey::generate();
    const std::string strange = signDetached(feed, unknown);
    const std::size_t end = strange.find("-----BEGIN ED25519");
    const struct {
        const char* name;
        std::string signature;
    } rows[] = {
        {"of another text", signDetached("{\"serial\": 2}", unknown)},
        {"under another key", PrivateKey::generate().publicKey().pem() + strange.substr(end)},
        {"without a key", strange.substr(end)},
        {"without a signature", strange.substr(0, end)},
        {"text before", "x\n" + strange},
        {"Windows line ends", std::string(strange).replace(strange.find('\n'), 1, "\r\n")},
        {"much too long", strange + std::string(1 << 20, '\n')},
    };
    EXPECT_FALSE(verifySignature({"", "", feed, strange, {}}, rules).key.empty());
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        expectStatus(Status::signatureWrong, "e.example", [&] {
            verifySignature(
                {"https://e.example/feed.json", "the .sig file", feed, row.signature, {}}, rules);
        });
    }
}

}  // namespace
}  // namespace tavik::testing
