#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "platform/core/crypto/DetachedSignature.h"
#include "platform/core/crypto/OpenSslCrypto.h"
#include "platform/core/trust/PackageSignature.h"
#include "platform/core/trust/StablePackage.h"
#include "tests/package/Expect.h"
#include "tests/support/PackageBuilder.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {
namespace {

constexpr uid_t kAnotherUser = 65534;
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

    std::string verify(const Package& package) {
        TrustRules rules;
        rules.keys = TrustedKeys({folder_.path().string()});
        rules.crypto = [this]() -> Crypto& { return crypto_; };
        return verifyPackage(package, rules);
    }
    std::string verify(const PackageBuilder& builder) {
        builder.write(path_);
        return verify(Package::open(path_));
    }

    const TemporaryFolder folder_;
    const std::string path_ = folder_ / "a.qpk";
    const PrivateKey key_ = PrivateKey::generate();
    OpenSslCrypto crypto_;
};

// Each row is refused, though its content, its list or its signature is honest by itself.
TEST_F(PackageSignature, HoldsForExactlyTheContentThatWasSigned) {
    const std::vector<ListedEntry> entries = listed(honest());
    const std::string list = writeContentList(entries);
    const std::string signature = signDetached(list, key_);
    const PackageBuilder good = signedWith(honest(), list);
    const auto changed = [&](const PackageBuilder& content) { return signedWith(content, list); };
    const auto replaced = [&](const std::string& what, const std::string& with) {
        return signedWith(honest(), std::string(list).replace(list.find(what), what.size(), with));
    };
    std::vector<ListedEntry> twice = entries;
    twice.push_back(entries.front());
    const std::string feed = R"({"formatVersion": 1, "serial": 1, "extensions": []})";
    const Status differs = Status::contentDiffers;
    const Status wrong = Status::signatureWrong;
    const Status isUnsafe = Status::packageUnsafe;
    const struct {
        const char* name;
        Status status;
        const char* text;
        PackageBuilder package;
    } rows[] = {
        // The package is not what its author signed.
        {"one bit", differs, "a.txt\": has another digest",
         changed(withFiles("helln").folder("empty"))},
        {"more", differs, "b.txt\": is not in", changed(honest().file("b.txt", ""))},
        {"less", differs, "empty/\": is in the signed list", changed(withFiles("hello"))},
        {"folder made a file", differs, "empty\": is not in",
         changed(withFiles("hello").file("empty", ""))},
        {"made executable", differs, "a.txt\": is executable",
         changed(withFiles("hello", 0100755).folder("empty"))},
        {"no longer executable", differs, "bin/run\": is not executable",
         changed(withFiles("hello", 0100644, 0100644).folder("empty"))},
        {"another manifest", differs, "extension.json\": has another",
         changed(honest().with("storeName", "\"x\""))},
        // The author did sign the list, and it says less than it seems to.
        {"listed twice", differs, "is listed twice", signedWith(honest(), writeContentList(twice))},
        {"a feed", differs, "unknown member", signedWith(honest(), feed)},
        {"newer form", differs, "formatVersion",
         replaced("\"formatVersion\": 1", "\"formatVersion\": 2")},
        {"a rule that nobody reads", differs, "unknown member",
         replaced("\"size\": 5", "\"mode\": 511, \"size\": 5")},
        {"no size", differs, "size is not", replaced("\"size\": 5, ", "")},
        // None of these passes for a package that is simply unsigned.
        {"no signature", wrong, "META-INF", honest().file(kList, list)},
        {"no list", wrong, "META-INF", honest().file(kSignature, signature)},
        {"list changed", wrong, "META-INF",
         honest().file(kList, list + " ").file(kSignature, signature)},
        {"something else", isUnsafe, "META-INF", honest().file("META-INF/MANIFEST.MF", "")},
        {"the folder", isUnsafe, "META-INF", PackageBuilder(good).folder("META-INF")},
        {"lower case", isUnsafe, "META-INF",
         honest().file("meta-inf/content.json", list).file("meta-inf/content.json.sig", signature)},
        {"huge list", Status::packageTooLarge, "META-INF",
         honest().file(kList, list + std::string(100'000, ' ')).file(kSignature, signature)},
    };
    EXPECT_NO_THROW(verify(good));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        expectStatus(row.status, row.text, [&] { verify(row.package); });
    }
}

// What is extracted after the check is what was checked, whoever else can write to the file.
TEST_F(PackageSignature, HoldsWhileOthersCanWriteToTheFile) {
    const PackageBuilder good = signedWith(honest(), writeContentList(listed(honest())));
    struct Row {
        unsigned mode;
        bool belongsToAnother;
    };
    std::vector<Row> rows = {{0666, false}, {0664, false}, {0646, false}, {0644, false}};
    if (::geteuid() == 0)  // Nobody else can give a file away.
        rows.push_back({0644, true});
    for (const auto& [mode, belongsToAnother] : rows) {
        SCOPED_TRACE(mode);
        good.write(path_);
        std::filesystem::permissions(path_, std::filesystem::perms(mode));
        if (belongsToAnother) {
            ASSERT_EQ(::chown(path_.c_str(), kAnotherUser, kAnotherUser), 0);
        }
        const Package package = openStable(path_, {});
        EXPECT_FALSE(verify(package).empty());
        std::string bytes = readFile(path_);
        bytes.assign(bytes.size(), 'x');
        writeFile(path_, bytes);  // in place
        const auto read = [&] { return package.read(*package.archive().find("a.txt"), 100); };
        if (mode != 0644 || belongsToAnother)
            EXPECT_EQ(read(), "hello");
        else  // Nobody but us could have done that; no copy is made, and the damage shows.
            expectStatus(Status::packageDamaged, "a.txt", read);
    }
}

}  // namespace
}  // namespace tavik::testing
