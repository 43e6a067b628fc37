#include <fcntl.h>

#include <filesystem>

#include "platform/core/package/Extraction.h"
#include "platform/core/package/Package.h"
#include "tests/qpk/Qpk.h"
#include "tests/support/PackageBuilder.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;

using Pack = Qpk;
using Check = Qpk;

void shell(const std::string& folder, const std::string& commands) {
    const Result result = run({"sh", "-euc", "cd \"$0\"\n" + commands, folder});
    ASSERT_EQ(result.exitCode, 0) << result.err;
}

// What comes out at the other end of the core is the folder that went in: small, stored, streamed
// and empty files, enough of them for several workers.
TEST_F(Pack, MakesWhatTheCoreUnpacksAndTheSameBytesForTheSameContent) {
    const std::string folder = source("a");
    shell(folder, R"(umask 022
        head -c 100000 /dev/zero > a.txt; mkdir b empty présets; printf '\1\377' > b/c.bin
        seq 700000 > large; head -c 700000 /dev/urandom > noise
        for i in $(seq 200); do seq $i > b/$i; done
        : > b.txt; echo x > présets/x; echo '#!/bin/sh' > run; chmod 755 run)");
    good({"pack", folder, "-o", at("a.qpk")});
    EXPECT_LT(fs::file_size(at("a.qpk")), fs::file_size(folder + "/large") / 2)
        << "nothing was compressed";
    fs::create_directory(at("out"));
    const FileDescriptor out(::open(at("out").c_str(), O_DIRECTORY | O_RDONLY | O_CLOEXEC));
    const Package package = Package::open(at("a.qpk"));
    std::uint64_t last = 0;
    extractInto(package, out.get(), [&](std::uint64_t done, std::uint64_t total) {
        EXPECT_GT(done, last);
        EXPECT_EQ(total, package.archive().totalBytes());
        last = done;
    });
    EXPECT_EQ(last, package.archive().totalBytes());
    EXPECT_EQ(run({"diff", "-r", folder, at("out")}).exitCode, 0);
    EXPECT_EQ(fs::status(at("out/run")).permissions(), fs::perms(0755));
    EXPECT_EQ(fs::status(at("out/a.txt")).permissions(), fs::perms(0644));

    // In another order, at another time, with other rights that mean the same.
    shell(folder, R"(mkdir ../same; for name in $(ls -r); do cp -r "$name" ../same; done
        cd ../same; chmod 600 a.txt; chmod 700 run; touch -d 2001-01-01 b.txt)");
    good({"pack", at("same/"), "--output=" + at("same.qpk")});
    EXPECT_EQ(readFile(at("a.qpk")), readFile(at("same.qpk")));
}

// Nothing is left behind beside a folder that no package may be made of.
TEST_F(Pack, RefusesWhatAPackageMustNotHave) {
    const std::pair<const char*, const char*> rows[] = {
        {"ln -s extension.json l", "entry \"l\": is a link"},
        {"mkfifo p", "entry \"p\": is neither"},
        {"mkdir META-INF; echo > META-INF/content.json", "entry \"META-INF\": is in the folder"},
        {"mkdir b; echo > b/.DS_Store", "entry \"b/.DS_Store\": was left behind"},
        {"echo > x; echo > X", "on some systems"},
        {"rm extension.json", "extension.json: is missing"},
        {"sed -i '1s/{/{\"licence\": \"x\", /' extension.json", "unknown member \"licence\""},
    };
    for (const auto& [spoil, text] : rows) {
        SCOPED_TRACE(spoil);
        const std::string folder = source("a");
        shell(folder, spoil);
        writeFile(at("out/a.qpk"), "the last one");
        expectIn(text, bad({"pack", folder, "-o", at("out/a.qpk")}));
        EXPECT_EQ(readFile(at("out/a.qpk")), "the last one");
        EXPECT_EQ(std::distance(fs::directory_iterator(at("out")), {}), 1) << "a half file";
        fs::remove_all(folder);
    }
    expectIn("nowhere: No such file", bad({"pack", at("nowhere")}));
    expectIn("lie in the folder", bad({"pack", source("a"), "-o", at("out/../a/x.qpk")}));
    ::mkfifo(at("pipe.qpk").c_str(), 0600);
    expectIn("not a regular file", bad({"pack", source("a"), "-o", at("pipe.qpk")}));
    EXPECT_TRUE(fs::is_fifo(at("pipe.qpk")));
    // Somebody else may have put the link there.
    writeFile(at("victim"), "mine");
    fs::create_symlink("victim", at("link.qpk"));
    expectIn("it is a link", bad({"pack", source("a"), "-o", at("link.qpk")}));
    EXPECT_EQ(readFile(at("victim")), "mine");
}

TEST_F(Check, ShowsAllFaultsAtOnce) {
    PackageBuilder builder("bad id", "x");
    builder.with("homepage", "\"example.com\"")
        .with("updateUrl", "\"http://example.com/feed.json\"")
        .with("requiredAccount", "true")
        .named("Pens & Inks")
        .with("storeName", R"("A & B")")
        .with("products", R"([{"name": "sketch", "minversion": "1"}, {}, 3])")
        .file("link", "/etc/passwd", 0120777)
        .file("../up", "")
        .file(".git/config", "");
    builder.write(at("a.qpk"));
    const Result result = qpk({"check", at("a.qpk"), "--product", "sketch=1"});
    EXPECT_EQ(result.exitCode, 1);
    for (const char* fault :
         {"extension.json: id \"bad id\"", "extension.json: version \"x\"", "homepage begins",
          "updateUrl is http:", "unknown member \"requiredAccount\"", "storeName has one of < &",
          "products[0] has an unknown member \"minversion\"", "products[1].name", "products[2]",
          "name has one of < & \"", "entry \"link\": is a link", "entry \"../up\": has a component",
          "entry \".git/config\": was left behind"})
        expectIn(at("a.qpk") + ": ", result.out), expectIn(fault, result.out);
    EXPECT_LT(result.out.find("requiredAccount"), result.out.find("entry \"../up\"")) << "by place";
}

TEST_F(Check, FindsWhatOnlyReadingEverythingShows) {
    PackageBuilder("a", "1").file("META-INF/content.json", "{}").write(at("half.qpk"));
    expectIn("META-INF/content.json.sig is missing", qpk({"check", at("half.qpk")}).out);
    std::string bytes = readFile(package("a"));
    bytes[bytes.find("a.txt") + 6] ^= 1;  // in the compressed data
    writeFile(at("flipped.qpk"), bytes);
    const Result result = qpk({"check", at("flipped.qpk")});
    EXPECT_EQ(result.exitCode, 1);
    expectIn("entry \"a.txt\": ", result.out);
    expectIn("cannot be read", bad({"check", at("nowhere.qpk")}));
}

TEST_F(Check, TellsWhetherItWouldInstall) {
    PackageBuilder("a", "1")
        .with("products", R"([{"name": "sketch", "minVersion": "17.0", "maxVersion": "18.9"}])")
        .write(at("a.qpk"));
    const std::pair<std::vector<std::string>, int> rows[] = {
        {{"sketch=17"}, 0},     {{"sketch=17.0-beta"}, 1},       {{"sketch=18.9.0"}, 0},
        {{"sketch=18.9.1"}, 1}, {{"layout=17", "sketch=18"}, 0}, {{"sketch"}, 2},
    };
    for (const auto& [products, status] : rows) {
        std::vector<std::string> arguments = {"check", at("a.qpk")};
        for (const std::string& product : products)
            arguments.insert(arguments.end(), {"--product", product});
        EXPECT_EQ(qpk(arguments).exitCode, status) << products.front();
    }
}

}  // namespace
}  // namespace tavik::testing
