#include <fcntl.h>
#include <signal.h>

#include <filesystem>

#include "platform/core/package/Extraction.h"
#include "platform/core/package/Package.h"
#include "tests/qpk/Qpk.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;

using Pack = Qpk;

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
        {"echo > .DS_Store; echo '!.DS_Store' > .qpkignore", "entry \".DS_Store\": was left"},
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
    expectIn("lie in the folder", bad({"pack", source("a"), "-o", at("out/../a/x.zip")}));
    ::mkfifo(at("pipe.qpk").c_str(), 0600);
    expectIn("not a regular file", bad({"pack", source("a"), "-o", at("pipe.qpk")}));
    EXPECT_TRUE(fs::is_fifo(at("pipe.qpk")));
    // Somebody else may have put the link there.
    writeFile(at("victim"), "mine");
    fs::create_symlink("victim", at("link.qpk"));
    expectIn("it is a link", bad({"pack", source("a"), "-o", at("link.qpk")}));
    EXPECT_EQ(readFile(at("victim")), "mine");
}

// Catches a pattern that matches too much or too little: a table of what is in the package then.
TEST_F(Pack, LeavesOutWhatIsIgnored) {
    struct Row {
        const char* rules;
        const char* packed;
    };
    const Row rows[] = {
        {"", "a.o b/a.o b/c/a.o b/c/d.txt d.txt"},
        {"*.o", "b/c/d.txt d.txt"},
        {"/*.o", "b/a.o b/c/a.o b/c/d.txt d.txt"},
        {"b/*.o", "a.o b/c/a.o b/c/d.txt d.txt"},
        {"b/**/a.o", "a.o b/c/d.txt d.txt"},
        {"b/**", "a.o d.txt"},
        {"b/**\n!b/a.o", "a.o b/a.o d.txt"},
        {"**/c", "a.o b/a.o d.txt"},
        {"c/", "a.o b/a.o d.txt"},
        {"a.o/", "a.o b/a.o b/c/a.o b/c/d.txt d.txt"},
        {"*.o\n!b/a.o", "b/a.o b/c/d.txt d.txt"},
        {"b\n!b/a.o", "a.o d.txt"},
        {"# a.o\n\n[ab].?  \r\n", "b/c/d.txt d.txt"},
        {"\\!a.o\n\\#a.o\n!.git", "a.o b/a.o b/c/a.o b/c/d.txt d.txt"},
    };
    for (const auto& [rules, packed] : rows) {
        SCOPED_TRACE(rules);
        const std::string folder = source("a");
        shell(folder, R"(mkdir -p b/c; touch a.o b/a.o b/c/a.o b/c/d.txt d.txt
            touch .gitignore .DS_Store b/d.txt~ old-1.0.qpk)");
        writeFile(folder + "/.qpkignore", rules);
        good({"pack", folder, "-o", at("a.qpk")});
        std::string names;
        const Package package = Package::open(at("a.qpk"));
        for (const ArchiveEntry& entry : package.archive().entries())
            if (entry.path != kManifestPath)
                names += (names.empty() ? "" : " ") + entry.path;
        EXPECT_EQ(names, packed);
        fs::remove_all(folder);
    }
}

// Catches a package that gets the last one into it, or version control's own files.
TEST_F(Pack, OfTheCurrentFolderGivesTheSameEachTime) {
    const std::string folder = source("a");
    shell(folder, "mkdir -p .git/objects dist; touch .git/objects/x; echo dist/ > .qpkignore");
    const std::string packed = "cd \"$0\"; " + program("qpk") + " pack . ";
    const std::string first = run({"sh", "-c", packed, folder}).out;
    expectIn("com.example.a-1.0.qpk: 1 file,", first);
    EXPECT_EQ(run({"sh", "-c", packed, folder}).out, first);
    EXPECT_EQ(run({"sh", "-c", packed + "-o dist/a.qpk", folder}).exitCode, 0);
    EXPECT_EQ(run({"sh", "-c", packed + "-o other/../a.zip", folder}).exitCode, 1);
}

// Catches a half file that stays when the process is ended, where files have names from the start.
TEST_F(Pack, LeavesNothingBehindWhenItIsEnded) {
    fs::create_directory(at("out"));
    const Result result = run({program("qpk"), "pack", source("a"), "-o", at("out/a.qpk")},
                              {{"LD_PRELOAD", TAVIK_INTERRUPT_LIBRARY},
                               {"ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0"}});
    EXPECT_EQ(result.exitCode, 128 + SIGTERM) << result.err;
    EXPECT_TRUE(fs::is_empty(at("out")));
}

}  // namespace
}  // namespace tavik::testing
