#include <filesystem>

#include "tests/tavik/Front.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;
using List = std::vector<std::string>;

/// An extension with files, which may be damaged, and which the feed may offer again.
class Repair : public Front {
  protected:
    static PackageBuilder package(const std::string& version = "1.0") {
        return PackageBuilder("com.example.a", version)
            .file("content.txt", version)
            .file("data/text.txt", "as installed")
            .file("bin/run", "#!/bin/sh", 0100755);
    }

    std::string folder() {
        return text(json(kDone, {"info", "com.example.a"})["extension"], "folder");
    }

    /// "DONE" of each repair, without the paths.
    static List done(const JsonDocument& document) {
        List found;
        for (const auto& each : document["repairs"].GetArray())
            found.push_back(text(each, "done"));
        return found;
    }

    /// Where a repair says that it has set files aside.
    static std::string setAside(const JsonDocument& document) {
        for (const auto& each : document["repairs"].GetArray())
            if (text(each, "done") == std::string("setAside"))
                return text(each, "path");
        return {};
    }
};

// Catches damage that stays although a feed has the very version, a change in a dry run, and files
// of the user that go with the damaged ones.
TEST_F(Repair, FetchesTheVeryVersionAgain) {
    publish({package("1.0"), package("1.5")});
    out(kDone, {"install", "com.example.a@1.0"});
    out(kDone, {"disable", "com.example.a"});
    const std::string before = folder();
    writeFile(before + "/data/text.txt", "changed by hand");
    writeFile(before + "/data/notes/own.txt", "own");
    fs::create_symlink("/nowhere", before + "/link");
    fs::remove(before + "/content.txt");
    fs::permissions(before + "/bin/run", fs::perms::owner_read | fs::perms::owner_write);

    const auto planned = json(kPending, {"repair", "--dry-run"});
    const List mended{"reinstall", "missing", "changed", "rights", "extra", "extra"};
    List sorted = done(planned);
    EXPECT_EQ(sorted.size(), mended.size());
    EXPECT_EQ(planned["left"].Size(), 0U);
    EXPECT_EQ(readFile(before + "/data/text.txt"), "changed by hand");

    const auto document = json(kDone, {"repair"});
    EXPECT_EQ(done(document).size(), mended.size() + 1);
    EXPECT_EQ(document["left"].Size(), 0U);
    const std::string aside = setAside(document);
    ASSERT_EQ(aside.rfind(machine_.user("set-aside/2"), 0), 0U) << aside;
    EXPECT_EQ(readFile(aside + "/data/text.txt"), "changed by hand");
    EXPECT_EQ(readFile(aside + "/data/notes/own.txt"), "own");
    EXPECT_TRUE(fs::is_symlink(aside + "/link"));
    EXPECT_FALSE(fs::exists(aside + "/bin"));
    EXPECT_EQ(readFile(folder() + "/data/text.txt"), "as installed");
    EXPECT_EQ(listed(), List{"com.example.a 1.0 disabled user"});
    EXPECT_EQ(json(kDone, {"verify"})["problems"].Size(), 0U);
    EXPECT_EQ(json(kDone, {"repair"})["repairs"].Size(), 0U);
    EXPECT_EQ(machine_.garbage().size(), 1U);  // what was set aside
}

// Catches a version that is installed instead of the damaged one, a feed that may replace what it
// has no say in, and a failure that says nothing.
TEST_F(Repair, NamesWhatMustBeInstalledAgain) {
    install(package());
    publish({package("1.5")});
    fs::remove(folder() + "/content.txt");
    const auto missed = json(kFailed, {"repair"});
    EXPECT_EQ(failures(missed), List{"filesMissing com.example.a"});
    EXPECT_EQ(missed["left"].Size(), 1U);
    EXPECT_EQ(failures(json(kFailed, {"repair", "--dry-run"})).size(), 1U);

    publish({package("1.0").file("more.txt", "another content of the same version")});
    json(kDone, {"repair"});
    EXPECT_EQ(readFile(folder() + "/content.txt"), "1.0");
    fs::remove_all(folder());
    json(kDone, {"repair"});
    EXPECT_EQ(machine_.seenByHost("com.example.a"), "1.0");

    const std::string dead = "\"file://" + machine_.path("dead.json") + '"';
    install(package().with("updateUrl", dead));
    fs::remove(folder() + "/content.txt");
    EXPECT_EQ(failures(json(kFailed, {"repair"})),
              List{"feedUnreachable file://" + machine_.path("dead.json")});
    EXPECT_EQ(machine_.garbage(), List{});
}

// A link that could not be made was named, but the status said that all is well.
TEST_F(Repair, WhatItCannotLinkIsAFailure) {
    install(package());
    const std::string link = machine_.user("products/sketch/extensions/com.example.a");
    fs::remove(link);
    writeFile(link, "mine");
    EXPECT_EQ(failures(json(kFailed, {"repair"})), List{"notRepaired " + link});
    EXPECT_EQ(readFile(link), "mine");
    fs::remove(link);
    json(kDone, {"repair"});
    EXPECT_EQ(machine_.seenByHost("com.example.a"), "1.0");
}

// Catches files that nothing is known of and that pass for sound, and a list that is made from
// whatever is there.
TEST_F(Repair, MissingListIsAProblemThatANewCopySolves) {
    install(package());
    const std::string list = folder() + ".files";
    fs::remove(list);
    writeFile(folder() + "/data/text.txt", "changed by hand");
    const auto found = json(kPending, {"verify"});
    ASSERT_EQ(found["problems"].Size(), 1U);
    EXPECT_EQ(text(found["problems"][0], "problem"), "noList");
    EXPECT_EQ(json(kDone, {"repair"})["left"].Size(), 1U);
    EXPECT_FALSE(fs::exists(list));

    publish({package()});
    const auto document = json(kDone, {"repair"});
    EXPECT_EQ(done(document), (List{"setAside", "reinstall", "noList"}));
    EXPECT_EQ(namesIn(setAside(document)), List{"data"});
    EXPECT_EQ(json(kDone, {"verify"})["problems"].Size(), 0U);
}

}  // namespace
}  // namespace tavik::testing
