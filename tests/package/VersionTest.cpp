#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "platform/core/package/Version.h"

namespace tavik {
namespace {

// A comparison of texts, of machine words or of doubles breaks one of these.
TEST(Version, OrdersByMeaning) {
    std::istringstream order(
        "0 0.0.0.0 00 < 0.0.0.1 < 1.2-alpha 1.2.0-alpha < 1.2-alpha.1 1.2-alpha.01 < 1.2-alpha.2 "
        "< 1.2-alpha.10 < 1.2-alpha.beta < 1.2-beta < 1.2-rc9 < 1.2-rc10 < 1.2 1.2.0.0 01.002 "
        "< 1.10 < 2.8.9 < 2.8.10 2.8.010 < 4294967296.1 < 4294967297 "
        "< 18446744073709551616 < 18446744073709551617 "
        "< 123456789012345678901234567890123456789012345678901234567890123");
    std::vector<std::tuple<int, std::string, Version>> all;
    int rank = 0;
    for (std::string word; order >> word;) {
        if (word == "<")
            ++rank;
        else
            all.emplace_back(rank, word, Version::parse(word).value());
    }
    for (const auto& [leftRank, leftText, left] : all)
        for (const auto& [rightRank, rightText, right] : all) {
            EXPECT_EQ(left.compare(right) < 0, leftRank < rightRank) << leftText << rightText;
            EXPECT_EQ(left.compare(right) > 0, leftRank > rightRank) << leftText << rightText;
        }
}

TEST(Version, RefusesWhatIsNoVersion) {
    for (const char* text :
         {"", ".", "1.", ".1", "1..2", "1.2.3.4.5", "v1", "1.x", "1.2-", "+1", " 1", "1.2-a b",
          "1.2a", "1.2-\xC3\xA9", "1e3", "0x1", "1.2-a\n", "1.-a2", "1.2-a+b"})
        EXPECT_FALSE(Version::parse(text)) << text;
    EXPECT_FALSE(Version::parse(std::string(64, '1')));
}

}  // namespace
}  // namespace tavik
