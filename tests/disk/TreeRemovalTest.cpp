#include <fcntl.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "platform/core/disk/TreeRemoval.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;

// Catches a folder that nobody takes, where several threads
// share the folders; and a link that is followed.
TEST(TreeRemoval, TakesALargeTreeAndNothingBesideIt) {
    const TemporaryFolder folder;
    writeFile(folder / "beside/kept.txt", "kept");
    for (const std::string top : {"tree/", "tree/a/single/chain/"})
        for (int i = 0; i < 12; ++i)
            for (int j = 0; j < 40; ++j)
                writeFile(folder / (top + std::to_string(i) + "/x/" + std::to_string(j)), "");
    for (const char* place : {"tree/link", "tree/3/link", "tree/11/x/link"})
        fs::create_directory_symlink(folder / "beside", folder / place);
    EXPECT_TRUE(removeTree(AT_FDCWD, folder / "tree"));
    EXPECT_FALSE(fs::exists(folder / "tree"));
    EXPECT_TRUE(fs::exists(folder / "beside/kept.txt"));
    EXPECT_TRUE(removeTree(AT_FDCWD, folder / "tree")) << "it is gone already";
}

}  // namespace
}  // namespace tavik::testing
