#include <gtest/gtest.h>

#include <filesystem>

#include "platform/core/online/DetachedSignature.h"
#include "platform/core/online/Online.h"
#include "platform/core/online/OpenSslCrypto.h"
#include "platform/core/trust/FeedSignature.h"
#include "platform/core/trust/TrustedKeys.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/trust/Expect.h"

namespace tavik {
namespace {

using testing::expectStatus;
using testing::TemporaryFolder;
using testing::writeFile;

// A key of the same form for another algorithm.
constexpr const char* kX25519 =
    "-----BEGIN PUBLIC KEY-----\n"
    "MCowBQYDK2VuAyEAGb9ECWmEzf6FQbrBZ9w7lshQhqowtrbLDFw4rXAxZuE=\n"
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

// Each row is a file that somebody took for a key; to trust nobody instead would be a riddle.
TEST(TrustedKeys, NameTheFileThatIsNoKey) {
    OpenSslCrypto crypto;
    const PrivateKey key = PrivateKey::generate();
    const std::string good = key.publicKey().pem();
    const struct {
        const char* name;
        std::string text;
        const char* cause;
    } rows[] = {
        {"empty", "", "no PEM block"},
        {"cut", good.substr(0, 60), "no PEM block"},
        {"private", key.pem(), "has a block PRIVATE KEY"},
        {"two keys", good + PrivateKey::generate().publicKey().pem(), "more than one"},
        {"other kind", kX25519, "another kind"},
        {"no DER", "-----BEGIN PUBLIC KEY-----\nAAAA\n-----END PUBLIC KEY-----\n", "no key in"},
        {"too long", good + std::string(20'000, '\n'), "more than 16384 bytes"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const TemporaryFolder family;
        writeFile(family / "trusted-keys/z.pem", row.text);
        const TrustedKeys keys({family.path().string()});
        expectStatus(Status::keyInvalid, row.cause,
                     [&] { keys.contain(key.publicKey().fingerprint(), crypto); });
        expectStatus(Status::keyInvalid, "trusted-keys/z.pem",
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
    std::filesystem::rename(folder + "/a.pem", family / "elsewhere");
    std::filesystem::create_symlink(family / "elsewhere", folder + "/a.pem");
    expectStatus(Status::keyInvalid, "a.pem: it is a link", [&] { keys.contain("", crypto); });
}

/// A feed, the signatures it may come with, and the keys that are trusted or not.
class FeedSignature : public ::testing::Test {
  protected:
    FeedSignature() { writeFile(family_ / "trusted-keys/a.pem", trusted_.publicKey().pem()); }

    /// The cryptography comes from the module, as the core has it.
    SignerReport verify(const std::optional<std::string>& signature, bool required) const {
        TrustRules rules;
        rules.policy.requireSignature = required;
        rules.keys = TrustedKeys({family_.path().string()});
        rules.crypto = []() -> Crypto& { return loadOnline().crypto(); };
        return verifyFeed("https://e.example/feed.json", kFeed, signature, rules);
    }

    static constexpr const char* kFeed = "{\"serial\": 1}";
    const TemporaryFolder family_;
    const PrivateKey trusted_ = PrivateKey::generate();
    const PrivateKey unknown_ = PrivateKey::generate();
};

TEST_F(FeedSignature, CountsByItsKeyAndThePolicy) {
    const std::string good = signDetached(kFeed, trusted_);
    const std::string strange = signDetached(kFeed, unknown_);
    EXPECT_FALSE(verify(std::nullopt, false).isSigned());
    EXPECT_TRUE(verify(good, true).isTrusted);
    EXPECT_EQ(verify(good, true).fingerprint, trusted_.publicKey().fingerprint());
    EXPECT_FALSE(verify(strange, false).isTrusted);
    EXPECT_EQ(verify(strange, false).fingerprint, unknown_.publicKey().fingerprint());
    expectStatus(Status::signatureMissing, "e.example", [&] { verify(std::nullopt, true); });
    expectStatus(Status::signerUnknown, unknown_.publicKey().fingerprint(),
                 [&] { verify(strange, true); });
}

// A wrong signature is refused whatever the policy says, under an unknown key as well.
TEST_F(FeedSignature, IsRefusedWhereItIsWrong) {
    const std::string strange = signDetached(kFeed, unknown_);
    const std::size_t end = strange.find("-----BEGIN ED25519");
    const struct {
        const char* name;
        std::string signature;
    } rows[] = {
        {"of another text", signDetached("{\"serial\": 2}", unknown_)},
        {"under another key", trusted_.publicKey().pem() + strange.substr(end)},
        {"empty", ""},
        {"without a key", strange.substr(end)},
        {"without a signature", strange.substr(0, end)},
        {"text before", "x\n" + strange},
        {"text behind", strange + "\n"},
        {"Windows line ends", std::string(strange).replace(strange.find('\n'), 1, "\r\n")},
        {"much too long", strange + std::string(1 << 20, '\n')},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        expectStatus(Status::signatureWrong, "e.example", [&] { verify(row.signature, false); });
    }
}

TEST(SameSigner, MayReplaceWhatItSigned) {
    EXPECT_NO_THROW(requireSameSigner("", "", "a.qpk"));
    EXPECT_NO_THROW(requireSameSigner("", "k1", "a.qpk"));
    EXPECT_NO_THROW(requireSameSigner("k1", "k1", "a.qpk"));
    expectStatus(Status::signerChanged, "unsigned", [] { requireSameSigner("k1", "", "a.qpk"); });
    expectStatus(Status::signerChanged, "k2", [] { requireSameSigner("k1", "k2", "a.qpk"); });
}

}  // namespace
}  // namespace tavik
