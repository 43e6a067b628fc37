#include <gtest/gtest.h>

#include <filesystem>

#include "platform/core/disk/LinkFolder.h"
#include "platform/core/status/Status.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;

/// A folder that was opened and checked, before something else is put in its place.
class OpenLinkFolder : public ::testing::Test {
  protected:
    OpenLinkFolder() {
        fs::create_directories(at("private"));
        writeFile(at("private/com.example.a"), "kept");
        folder = LinkFolder::open(store, at("ext"), Missing::isMade,
                                  [this](const std::string&, const std::string& target) {
                                      return target.find(at("store/")) == 0;
                                  });
        folder->requireRoomFor("com.example.a");
    }

    std::string at(const std::string& name) const { return temporary / name; }

    TemporaryFolder temporary;
    StoreFolder store = StoreFolder::create({Scope::user, at("store"), "QZ"});
    std::optional<LinkFolder> folder;
};

// A link would replace one of root's regular files.
TEST_F(OpenLinkFolder, KeepsWorkingWhereItWasChecked) {
    fs::rename(at("ext"), at("moved"));
    fs::create_directory_symlink(at("private"), at("ext"));
    folder->point("com.example.a", at("store/QZ/ext/1"));
    folder->synchronise();
    EXPECT_EQ(readFile(at("private/com.example.a")), "kept");
    EXPECT_EQ(fs::read_symlink(at("moved/com.example.a")), at("store/QZ/ext/1"));
}

TEST_F(OpenLinkFolder, LooksAgainBeforeItReplacesAnything) {
    writeFile(at("ext/com.example.a"), "kept");
    fs::create_directory_symlink("elsewhere", at("ext/com.example.b"));
    for (const char* name : {"com.example.a", "com.example.b"}) {
        EXPECT_THROW(folder->point(name, at("store/QZ/ext/1")), Error) << name;
        folder->remove(name);
    }
    EXPECT_EQ(readFile(at("ext/com.example.a")), "kept");
    EXPECT_EQ(fs::read_symlink(at("ext/com.example.b")), "elsewhere");
}

}  // namespace
}  // namespace tavik::testing
