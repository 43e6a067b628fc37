#include <gtest/gtest.h>
#include <sys/prctl.h>

#include "platform/support/Secret.h"

namespace tavik::testing {
namespace {

// A token in memory would end up in a crash's dump, or in another program's hands.
TEST(Secret, KeepsTheProcessClosedAsLongAsOneIsHeld) {
    const auto isOpen = [] { return ::prctl(PR_GET_DUMPABLE) == 1; };
    ASSERT_TRUE(isOpen());
    {
        Secret token(std::string("token"));
        EXPECT_FALSE(isOpen());
        {
            const Secret account(std::string("account"));
            const Undumpable held;
            EXPECT_FALSE(isOpen());
        }
        EXPECT_FALSE(isOpen()) << "one is still held";
        token.set("another");
        EXPECT_FALSE(isOpen());
        token.wipe();
        EXPECT_TRUE(isOpen());
        token.set("again");
        EXPECT_FALSE(isOpen());
    }
    EXPECT_TRUE(isOpen());
}

}  // namespace
}  // namespace tavik::testing
