#include <gtest/gtest.h>

#include <filesystem>

#include "platform/core/online/DetachedSignature.h"
#include "platform/core/online/OpenSslCrypto.h"
#include "platform/core/trust/PackageSignature.h"
#include "platform/core/trust/StablePackage.h"
#include "tests/package/Expect.h"
#include "tests/support/PackageBuilder.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {
namespace {

const std::string kList(kContentListPath);
const std::string kSignature(kContentSignaturePath);

/// The package that the author signed, where a test does not change one of its files.
PackageBuilder withFiles(const std::string& text, unsigned textMode = 0100644,
                         unsigned programMode = 0100755) {
    return PackageBuilder("com.example.a", "1.0")
        .file("a.txt", text, textMode)
        .file("bin/run", "#!/bin/sh\n", programMode);
}

PackageBuilder honest() {
    return withFiles("hello").folder("empty");
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

    SignerReport verify(const Package& package) {
        TrustRules rules;
        rules.keys = TrustedKeys({folder_.path().string()});
        rules.crypto = [this]() -> Crypto& { return crypto_; };
        return verifyPackage(package, rules);
    }
    SignerReport verify(const PackageBuilder& builder) {
        builder.write(path_);
        return verify(Package::open(path_));
    }

    const TemporaryFolder folder_;
    const std::string path_ = folder_ / "a.qpk";
    const PrivateKey key_ = PrivateKey::generate();
    OpenSslCrypto crypto_;
};

// Each row is a package that differs from what its author signed.
TEST_F(PackageSignature, HoldsForExactlyTheContentThatWasSigned) {
    const std::string list = writeContentList(listed(honest()));
    const struct {
        const char* name;
        const char* text;
        PackageBuilder content;
    } rows[] = {
        {"one bit", "a.txt\": has another digest", withFiles("helln").folder("empty")},
        {"more", "b.txt\": is not in", honest().file("b.txt", "")},
        {"less", "empty/\": is in the signed list", withFiles("hello")},
        {"folder made a file", "empty\": is not in", withFiles("hello").file("empty", "")},
        {"made executable", "a.txt\": is executable", withFiles("hello", 0100755).folder("empty")},
        {"no longer executable", "bin/run\": is not executable",
         withFiles("hello", 0100644, 0100644).folder("empty")},
        {"another manifest", "extension.json\": has another", honest().with("storeName", "\"x\"")},
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
    const struct {
        const char* name;
        std::string list;
        const char* text;
    } rows[] = {
        {"listed twice", writeContentList(twice), "is listed twice"},
        {"a feed", R"({"formatVersion": 1, "serial": 1, "extensions": []})", "unknown member"},
        {"newer form", replaced("\"formatVersion\": 1", "\"formatVersion\": 2"), "formatVersion"},
        {"no size", replaced("\"size\": 5, ", ""), "size is not"},
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
        {"list changed", Status::signatureWrong,
         honest().file(kList, list + " ").file(kSignature, signature)},
        {"something else", Status::packageUnsafe, honest().file("META-INF/MANIFEST.MF", "")},
        {"the folder", Status::packageUnsafe, PackageBuilder(good).folder("META-INF")},
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
        EXPECT_TRUE(verify(package).isSigned());
        std::string bytes = readFile(path_);
        bytes.assign(bytes.size(), 'x');
        writeFile(path_, bytes);  // in place
        const auto read = [&] { return package.read(*package.archive().find("a.txt"), 100); };
        if (mode == 0666)
            EXPECT_EQ(read(), "hello");
        else  // Nobody but us could have done that; no copy is made, and the damage shows.
            expectStatus(Status::packageDamaged, "a.txt", read);
    }
}

}  // namespace
}  // namespace tavik::testing
