#include <fcntl.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <functional>

#include "platform/core/crypto/DetachedSignature.h"
#include "platform/core/crypto/OpenSslCrypto.h"
#include "platform/core/package/Extraction.h"
#include "platform/core/trust/PackageSignature.h"
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

    TrustRules rules() {
        TrustRules rules;
        rules.keys = TrustedKeys({folder_.path().string()});
        rules.crypto = [this]() -> Crypto& { return crypto_; };
        return rules;
    }
    VerifiedPackage verify(const Package& package) { return verifyPackage(package, rules()); }
    void verify(const PackageBuilder& builder) {
        builder.write(path_);
        verifyWholePackage(Package::open(path_), rules());
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
        {"no size", differs, "size is missing", replaced("\"size\": 5, ", "")},
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

// Two texts of one length and one CRC: no header tells them apart.
constexpr const char* kTrue = "ecylwtxz";
constexpr const char* kFalse = "epdnndzu";

// Somebody who keeps the package open for writing changes bytes between the check of the signature
// and the extraction, or shows a forged manifest and takes it back before the check.
TEST_F(PackageSignature, HoldsForTheBytesThatAreExtracted) {
    const auto crcOf = [](const std::string& text) {
        return ::crc32(0, reinterpret_cast<const Bytef*>(text.data()),
                       static_cast<uInt>(text.size()));
    };
    ASSERT_EQ(crcOf(kTrue), crcOf(kFalse));
    const auto content = [](const std::string& name, const std::string& text) {
        PackageBuilder builder;
        builder.stored("extension.json", R"({"formatVersion": 1, "id": "a", "version": "1",
            "products": [{"name": "sketch"}], "name": ")" +
                                             name + "\"}");
        // Enough of them that several threads are at work.
        for (int i = 0; i < 40; ++i)
            builder.stored("d/" + std::to_string(i), std::string(50'000, 'x'));
        return builder.stored("z.txt", text);
    };
    const PackageBuilder good =
        signedWith(content(kTrue, kTrue), writeContentList(listed(content(kTrue, kTrue))));
    // In place; the manifest is the first entry, and z.txt the last that is not deflated.
    const auto swap = [&](const std::string& from, const std::string& to,
                          std::size_t (*place)(const std::string&, const std::string&)) {
        std::string bytes = readFile(path_);
        writeFile(path_, bytes.replace(place(bytes, from), from.size(), to));
    };
    const auto first = [](const std::string& bytes, const std::string& t) { return bytes.find(t); };
    const auto last = [](const std::string& bytes, const std::string& t) { return bytes.rfind(t); };
    const auto install = [&](const std::function<void()>& beforeCheck,
                             const std::function<void()>& beforeExtraction) {
        const Package package = Package::open(path_);
        beforeCheck();
        const VerifiedPackage verified = verify(package);
        beforeExtraction();
        const TemporaryFolder target;
        const FileDescriptor folder(::open(target.path().c_str(), O_RDONLY | O_DIRECTORY));
        extractInto(package, folder.get(), {}, verified.content.get());
    };
    good.write(path_);
    EXPECT_NO_THROW(install([] {}, [] {}));
    expectStatus(Status::contentDiffers, "z.txt\": has another digest",
                 [&] { install([] {}, [&] { swap(kTrue, kFalse, last); }); });
    good.write(path_);
    swap(kTrue, kFalse, first);
    expectStatus(Status::contentDiffers, "extension.json\": has another digest",
                 [&] { install([&] { swap(kFalse, kTrue, first); }, [] {}); });
}

}  // namespace
}  // namespace tavik::testing
