#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/core/package/Version.h"

namespace tavik {
namespace {

Version version(const std::string& text) {
    const auto parsed = Version::parse(text);
    EXPECT_TRUE(parsed) << text;
    return parsed.value_or(Version());
}

// Each group is below the next; the texts of one group are equal. A comparison of texts, of machine
// words or of doubles breaks one of them.
TEST(Version, OrdersByMeaning) {
    const std::vector<std::vector<std::string>> groups = {
        {"0", "0.0.0.0", "00"},
        {"0.0.0.1"},
        {"1.2-alpha", "1.2.0-alpha"},
        {"1.2-alpha.1", "1.2-alpha.01"},
        {"1.2-alpha.2"},
        {"1.2-alpha.10"},
        {"1.2-alpha.beta"},
        {"1.2-beta"},
        {"1.2-rc9"},
        {"1.2-rc10"},
        {"1.2", "1.2.0", "1.2.0.0", "01.002"},
        {"1.10"},
        {"2.8.9"},
        {"2.8.10", "2.8.010"},
        {"9"},
        {"10"},
        {"4294967296.1"},
        {"4294967297"},
        {"18446744073709551616"},
        {"18446744073709551617"},
        {"123456789012345678901234567890123456789012345678901234567890123"},
    };
    for (std::size_t a = 0; a < groups.size(); ++a) {
        for (std::size_t b = 0; b < groups.size(); ++b) {
            for (const auto& left : groups[a]) {
                for (const auto& right : groups[b]) {
                    const int order = version(left).compare(version(right));
                    EXPECT_EQ(order < 0, a < b) << left << " and " << right;
                    EXPECT_EQ(order > 0, a > b) << left << " and " << right;
                }
            }
        }
    }
}

TEST(Version, RefusesWhatIsNoVersion) {
    const std::vector<std::string> texts = {"",
                                            ".",
                                            "1.",
                                            ".1",
                                            "1..2",
                                            "1.2.3.4.5",
                                            "v1",
                                            "1.x",
                                            "-1",
                                            "1.2-",
                                            "+1",
                                            " 1",
                                            "1 ",
                                            "1,2",
                                            "1.2-a b",
                                            "1.2a",
                                            "1.2-\xC3\xA9",
                                            "1e3",
                                            "1.2-a\n",
                                            "0x1",
                                            "1.-a2",
                                            "1.2-a+b",
                                            std::string(64, '1')};
    for (const auto& text : texts)
        EXPECT_FALSE(Version::parse(text)) << text;
}

}  // namespace
}  // namespace tavik
