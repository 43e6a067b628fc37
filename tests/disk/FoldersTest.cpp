#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "platform/core/disk/Folders.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;

// Whoever can rename in the parent could put a private folder of root's into the place of the new
// one, which would then be opened to all. Elsewhere the umask must not close a folder that all
// need.
TEST(Folders, RightsAreSetOnlyWhereNobodyElseCouldExchangeTheFolder) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a folder to another user";
    const struct {
        uid_t owner;
        mode_t mode;
        unsigned expected;
    } rows[] = {
        {0, 0755, 0755}, {0, 01777, 0755},    {0, 0777, 0700},
        {0, 0775, 0700}, {65534, 0755, 0700}, {65534, 01777, 0700},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.owner) + " " + std::to_string(row.mode));
        const TemporaryFolder temporary;
        const std::string parent = temporary / "parent";
        fs::create_directory(parent);
        ASSERT_EQ(::chown(parent.c_str(), row.owner, row.owner), 0);
        ASSERT_EQ(::chmod(parent.c_str(), row.mode), 0);
        const mode_t old = ::umask(0077);
        makeFolders(parent + "/new", 0755);
        ::umask(old);
        EXPECT_EQ(fs::status(parent + "/new").permissions(), fs::perms(row.expected));
    }
}

}  // namespace
}  // namespace tavik::testing
