#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>

#include "platform/core/package/Extraction.h"
#include "platform/core/package/Package.h"
#include "tests/qpk/Qpk.h"
#include "tests/support/PackageBuilder.h"

namespace tavik {
namespace {

namespace fs = std::filesystem;
using testing::expectIn;
using testing::PackageBuilder;
using testing::readFile;
using testing::writeFile;

using Pack = testing::Qpk;
using Check = testing::Qpk;

/// Files of many kinds, written in an order of their own.
void fill(const std::string& folder, bool backwards) {
    std::vector<std::pair<std::string, std::string>> files = {{"a.txt", std::string(100'000, 'a')},
                                                              {"b/c.bin", "\x01\x02\xff"},
                                                              {"b.txt", ""},
                                                              {"pr\xC3\xA9sets/x", "x"},
                                                              {"run", "#!/bin/sh\n"}};
    if (backwards)
        std::reverse(files.begin(), files.end());
    for (const auto& [name, content] : files)
        writeFile(folder + "/" + name, content);
    fs::create_directory(folder + "/empty");
    fs::permissions(folder + "/run", fs::perms(backwards ? 0700 : 0755));
}

TEST_F(Pack, GivesTheSameBytesForTheSameContent) {
    const std::string one = source("a");
    fill(one, false);
    good({"pack", one, "-o", at("one.qpk")});
    fs::rename(one, at("kept"));
    const std::string two = source("a");
    fill(two, true);
    fs::permissions(two + "/a.txt", fs::perms(0600));
    fs::last_write_time(two + "/a.txt", fs::file_time_type::clock::now() - std::chrono::hours(99));
    good({"pack", two + "/", "--output=" + at("two.qpk")});
    EXPECT_EQ(readFile(at("one.qpk")), readFile(at("two.qpk")));
}

// What comes out at the other end of the core is the folder that went in.
TEST_F(Pack, MakesWhatTheCoreUnpacks) {
    const std::string folder = source("a");
    fill(folder, false);
    good({"pack", folder, "-o", at("a.qpk")});
    fs::create_directory(at("out"));
    const FileDescriptor out(::open(at("out").c_str(), O_DIRECTORY | O_RDONLY | O_CLOEXEC));
    extractInto(Package::open(at("a.qpk")), out.get());
    EXPECT_EQ(testing::run({"diff", "-r", folder, at("out")}).exitCode, 0);
    EXPECT_TRUE(fs::is_empty(at("out/empty")));
    EXPECT_EQ(fs::status(at("out/run")).permissions(), fs::perms(0755));
    EXPECT_EQ(fs::status(at("out/a.txt")).permissions(), fs::perms(0644));
    EXPECT_LT(fs::file_size(at("a.qpk")), 5'000U) << "nothing was compressed";
}

// Each row is a folder that no package may be made of; nothing is left behind beside it.
TEST_F(Pack, RefusesWhatAPackageMustNotHave) {
    const struct {
        const char* name;
        const char* text;
        std::function<void(const std::string& folder)> spoil;
    } rows[] = {
        {"link", "entry \"l\": is a link",
         [](const std::string& f) { fs::create_symlink("extension.json", f + "/l"); }},
        {"linked folder", "entry \"l\": is a link",
         [](const std::string& f) { fs::create_directory_symlink("/", f + "/l"); }},
        {"pipe", "entry \"p\": is neither",
         [](const std::string& f) { ::mkfifo((f + "/p").c_str(), 0600); }},
        {"old signature", "entry \"META-INF\": is in the folder",
         [](const std::string& f) { writeFile(f + "/META-INF/content.json", ""); }},
        {"left over", "entry \"b/.DS_Store\": was left behind",
         [](const std::string& f) { writeFile(f + "/b/.DS_Store", "x"); }},
        {"same name", "on some systems",
         [](const std::string& f) { writeFile(f + "/x", ""), writeFile(f + "/X", ""); }},
        {"backslash", "backslash", [](const std::string& f) { writeFile(f + "/a\\b", ""); }},
        {"no manifest", "extension.json: is missing",
         [](const std::string& f) { fs::remove(f + "/extension.json"); }},
        {"slip of the pen", "licence is a member that nobody reads",
         [&](const std::string& /*f*/) { source("a", "1.0", R"(, "licence": "x")"); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string folder = source("a");
        row.spoil(folder);
        fs::create_directory(at("out"));
        writeFile(at("out/a.qpk"), "the last one");
        expectIn(row.text, bad({"pack", folder, "-o", at("out/a.qpk")}));
        EXPECT_EQ(readFile(at("out/a.qpk")), "the last one");
        EXPECT_EQ(std::distance(fs::directory_iterator(at("out")), {}), 1) << "a half file";
        fs::remove_all(folder);
        fs::remove_all(at("out"));
    }
    expectIn("nowhere: No such file", bad({"pack", at("nowhere")}));
    expectIn("lie in the folder", bad({"pack", source("a"), "-o", at("out/../a/x.qpk")}));
    ::mkfifo(at("pipe").c_str(), 0600);
    fs::create_symlink("pipe", at("pipe.qpk"));
    expectIn("no regular file", bad({"pack", source("a"), "-o", at("pipe.qpk")}));
    EXPECT_TRUE(fs::is_fifo(at("pipe.qpk")));
}

TEST_F(Check, ShowsAllFaultsAtOnce) {
    PackageBuilder builder("bad id", "x");
    builder.with("homepage", "\"example.com\"")
        .with("updateUrl", "\"http://example.com/feed.json\"")
        .with("requiredAccount", "true")
        .with("products", R"([{"name": "sketch", "minversion": "1"}])")
        .file("link", "/etc/passwd", 0120777)
        .file("../up", "")
        .file(".git/config", "");
    builder.write(at("a.qpk"));
    const testing::Result result = qpk({"check", at("a.qpk"), "--product", "sketch=1"});
    EXPECT_EQ(result.exitCode, 1);
    for (const char* fault :
         {"extension.json: id \"bad id\"", "extension.json: version \"x\"", "homepage begins",
          "updateUrl is http:", "requiredAccount is a member", "products: minversion is a member",
          "entry \"link\": is a link", "entry \"../up\": has a component",
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
    const testing::Result result = qpk({"check", at("flipped.qpk")});
    EXPECT_EQ(result.exitCode, 1);
    expectIn("entry \"a.txt\": ", result.out);
    expectIn("cannot be read", bad({"check", at("nowhere.qpk")}));
}

TEST_F(Check, TellsWhetherItWouldInstall) {
    PackageBuilder("a", "1")
        .with("products", R"([{"name": "sketch", "minVersion": "17.0", "maxVersion": "18.9"}])")
        .write(at("a.qpk"));
    const struct {
        std::vector<std::string> products;
        int status;
    } rows[] = {
        {{"sketch=17"}, 0},        {{"sketch=18.9.0"}, 0}, {{"sketch=18.9.1"}, 1},
        {{"sketch=17.0-beta"}, 1}, {{"layout=17"}, 1},     {{"layout=17", "sketch=18"}, 0},
        {{"sketch=newest"}, 2},    {{"=17"}, 2},           {{"sketch"}, 2},
    };
    for (const auto& row : rows) {
        std::vector<std::string> arguments = {"check", at("a.qpk")};
        for (const std::string& product : row.products)
            arguments.insert(arguments.end(), {"--product", product});
        EXPECT_EQ(qpk(arguments).exitCode, row.status) << row.products.front();
    }
}

}  // namespace
}  // namespace tavik
