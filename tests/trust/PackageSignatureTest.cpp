#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "platform/core/online/DetachedSignature.h"
#include "platform/core/online/OpenSslCrypto.h"
#include "platform/core/trust/PackageSignature.h"
#include "platform/core/trust/StablePackage.h"
#include "tests/support/PackageBuilder.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/trust/Expect.h"

namespace tavik {
namespace {

using testing::expectStatus;
using testing::PackageBuilder;
using testing::TemporaryFolder;

const std::string kList(kContentListPath);
const std::string kSignature(kContentSignaturePath);

PackageBuilder manifestAlone() {
    return {"com.example.a", "1.0"};
}

PackageBuilder honest() {
    return manifestAlone()
        .file("a.txt", "hello")
        .file("bin/run", "#!/bin/sh\n", 0100755)
        .folder("empty");
}

class PackageSignature : public ::testing::Test {
  protected:
    /// What an author vouches for in the package.
    std::vector<ListedEntry> listed(const PackageBuilder& builder) {
        builder.write(path_);
        return listContent(Package::open(path_), crypto_);
    }

    PackageBuilder signedWith(PackageBuilder builder, const std::string& list) {
        return builder.file(kList, list).file(kSignature, signDetached(list, key_));
    }

    SignerReport verify(const PackageBuilder& builder, bool required = false) {
        builder.write(path_);
        return verifyPackage(Package::open(path_), rules(required));
    }

    TrustRules rules(bool required) {
        TrustRules rules;
        rules.policy.requireSignature = required;
        rules.keys = TrustedKeys({folder_.path().string()});
        rules.crypto = [this]() -> Crypto& {
            wasLoaded_ = true;
            return crypto_;
        };
        return rules;
    }

    const TemporaryFolder folder_;
    const std::string path_ = folder_ / "a.qpk";
    const PrivateKey key_ = PrivateKey::generate();
    OpenSslCrypto crypto_;
    bool wasLoaded_ = false;
};

TEST_F(PackageSignature, IsJudgedByThePolicy) {
    EXPECT_FALSE(verify(honest()).isSigned());
    EXPECT_FALSE(wasLoaded_) << "an unsigned package needs no cryptography";
    expectStatus(Status::signatureMissing, "a.qpk", [&] { verify(honest(), true); });
    EXPECT_FALSE(wasLoaded_);

    const PackageBuilder good = signedWith(honest(), writeContentList(listed(honest())));
    EXPECT_EQ(verify(good).fingerprint, key_.publicKey().fingerprint());
    EXPECT_FALSE(verify(good).isTrusted);
    expectStatus(Status::signerUnknown, key_.publicKey().fingerprint(),
                 [&] { verify(good, true); });
    testing::writeFile(folder_ / "trusted-keys/author.pem", key_.publicKey().pem());
    EXPECT_TRUE(verify(good, true).isTrusted);
}

// Each row is a package that differs from what its author signed.
TEST_F(PackageSignature, HoldsForExactlyTheContentThatWasSigned) {
    const std::string list = writeContentList(listed(honest()));
    const auto manifest = [] { return manifestAlone(); };
    const struct {
        const char* name;
        const char* text;
        PackageBuilder content;
    } rows[] = {
        {"other bytes", "a.txt\": has another digest",
         manifest().file("a.txt", "hellO").file("bin/run", "#!/bin/sh\n", 0100755).folder("empty")},
        {"other size", "a.txt\": has another size",
         manifest().file("a.txt", "hell").file("bin/run", "#!/bin/sh\n", 0100755).folder("empty")},
        {"more", "b.txt\": is not in", honest().file("b.txt", "")},
        {"another folder", "b\": is not in", honest().folder("b")},
        {"less", "a.txt\": is in the signed list",
         manifest().file("bin/run", "#!/bin/sh\n", 0100755).folder("empty")},
        {"a folder less", "empty/\": is in the signed list",
         manifest().file("a.txt", "hello").file("bin/run", "#!/bin/sh\n", 0100755)},
        {"folder made a file", "empty\": is not in",
         manifest()
             .file("a.txt", "hello")
             .file("bin/run", "#!/bin/sh\n", 0100755)
             .file("empty", "")},
        {"made executable", "a.txt\": is executable",
         manifest()
             .file("a.txt", "hello", 0100755)
             .file("bin/run", "#!/bin/sh\n", 0100755)
             .folder("empty")},
        {"no longer executable", "bin/run\": is not executable",
         manifest().file("a.txt", "hello").file("bin/run", "#!/bin/sh\n").folder("empty")},
        {"another manifest", "extension.json\": has another",
         PackageBuilder("com.example.a", "2.0")
             .file("a.txt", "hello")
             .file("bin/run", "#!/bin/sh\n", 0100755)
             .folder("empty")},
    };
    EXPECT_NO_THROW(verify(signedWith(honest(), list)));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        expectStatus(Status::contentDiffers, row.text,
                     [&] { verify(signedWith(row.content, list)); });
    }
}

// Each row is a list that its author did sign, and that says less than it seems to.
TEST_F(PackageSignature, NeedsAListThatIsStrict) {
    const std::vector<ListedEntry> entries = listed(honest());
    const std::string good = writeContentList(entries);
    const auto replaced = [&](const std::string& what, const std::string& with) {
        return std::string(good).replace(good.find(what), what.size(), with);
    };
    std::vector<ListedEntry> twice = entries;
    twice.push_back(entries.front());
    std::vector<ListedEntry> itself = entries;
    itself.push_back({kSignature, 1, std::string(64, '0'), false});
    const struct {
        const char* name;
        std::string list;
        const char* text;
    } rows[] = {
        {"listed twice", writeContentList(twice), "is listed twice"},
        {"lists the signature", writeContentList(itself), "is in the signed list, but missing"},
        {"no JSON", "x", "META-INF/content.json"},
        {"a feed", R"({"formatVersion": 1, "serial": 1, "extensions": []})", "unknown member"},
        {"newer form", replaced("\"formatVersion\": 1", "\"formatVersion\": 2"), "formatVersion"},
        {"unknown member", replaced("\"size\"", "\"only\": \"x\", \"size\""), "unknown member"},
        {"no size", replaced("\"size\": 5, ", ""), "size is not"},
        {"short digest", replaced("2cf24dba", ""), "sha256 is not"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        expectStatus(Status::contentDiffers, row.text,
                     [&] { verify(signedWith(honest(), row.list)); });
    }
}

// Nothing in the reserved folder passes for a package that is simply unsigned.
TEST_F(PackageSignature, IsNeverTakenForNone) {
    const std::string list = writeContentList(listed(honest()));
    const std::string signature = signDetached(list, key_);
    const PackageBuilder good = signedWith(honest(), list);
    const struct {
        const char* name;
        Status status;
        PackageBuilder package;
    } rows[] = {
        {"no signature", Status::signatureWrong, honest().file(kList, list)},
        {"no list", Status::signatureWrong, honest().file(kSignature, signature)},
        {"empty signature", Status::signatureWrong,
         honest().file(kList, list).file(kSignature, "")},
        {"list changed", Status::signatureWrong,
         honest().file(kList, list + " ").file(kSignature, signature)},
        {"something else", Status::packageUnsafe, honest().file("META-INF/MANIFEST.MF", "")},
        {"something more", Status::packageUnsafe, PackageBuilder(good).file("META-INF/x", "")},
        {"the folder", Status::packageUnsafe, PackageBuilder(good).folder("META-INF")},
        {"deeper", Status::packageUnsafe, honest().file("META-INF/content.json/x", "")},
        {"lower case", Status::packageUnsafe,
         honest().file("meta-inf/content.json", list).file("meta-inf/content.json.sig", signature)},
        {"huge list", Status::packageTooLarge,
         honest().file(kList, list + std::string(100'000, ' ')).file(kSignature, signature)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        expectStatus(row.status, "META-INF", [&] { verify(row.package); });
    }
}

// What is extracted after the check is what was checked, whoever else can write to the file.
TEST_F(PackageSignature, HoldsWhileOthersCanWriteToTheFile) {
    const PackageBuilder good = signedWith(honest(), writeContentList(listed(honest())));
    for (const unsigned mode : {0666U, 0644U}) {
        good.write(path_);
        std::filesystem::permissions(path_, std::filesystem::perms(mode));
        const Package package = openStable(path_, {});
        EXPECT_TRUE(verifyPackage(package, rules(false)).isSigned());
        std::string bytes = testing::readFile(path_);
        bytes.assign(bytes.size(), 'x');
        testing::writeFile(path_, bytes);  // in place
        const auto read = [&] { return package.read(*package.archive().find("a.txt"), 100); };
        if (mode == 0666)
            EXPECT_EQ(read(), "hello");
        else  // Nobody but us could have done that; no copy is made, and the damage shows.
            expectStatus(Status::packageDamaged, "a.txt", read);
    }
}

}  // namespace
}  // namespace tavik
