#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "platform/core/package/Manifest.h"
#include "platform/support/Text.h"

namespace tavik::testing {
namespace {

/// A manifest with one member set to this JSON; "" leaves it out.
std::string manifestWith(const std::string& member, const std::string& json) {
    std::map<std::string, std::string> members = {
        {"unknown", "[{}]"},
        {"formatVersion", "1"},
        {"id", R"("a.b")"},
        {"name", R"("A")"},
        {"version", R"("1.0")"},
        {"products", R"([{"name":"sketch","minVersion":"17.0","maxVersion":"18.9"}])"}};
    members[member] = json;
    std::string text;
    for (const auto& [key, value] : members)
        if (!value.empty())
            text += (text.empty() ? "{\"" : ",\"") + key + "\":" + value;
    return text + "}";
}

std::string manyProducts(int count) {
    std::string json;
    for (int i = 0; i < count; ++i)
        json += (i == 0 ? "[" : ",") + (R"({"name":")" + std::to_string(i) + "\"}");
    return json + "]";
}

std::vector<Fault> faultsOf(const std::string& text) {
    std::vector<Fault> faults;
    try {
        parseManifest(text, {}, [&](const Fault& fault) { faults.push_back(fault); });
    } catch (const CheckStopped&) {
    }
    return faults;
}

TEST(Manifest, RefusesWhatBreaksARule) {
    const auto text = [](std::size_t size) { return '"' + std::string(size, 'a') + '"'; };
    const auto name = [&](const std::string& json) { return R"([{"name":)" + json + "}]"; };
    const auto range = [](const std::string& json) { return R"([{"name":"a",)" + json + "}]"; };
    const Status invalid = Status::manifestInvalid;
    const Status unsupported = Status::packageUnsupported;
    struct {
        const char* member;
        Status status;
        std::vector<std::string> values;
    } const rows[] = {
        {"formatVersion", invalid, {"", "\"1\"", "null"}},
        {"formatVersion", unsupported, {"2", "1.5", "0", "99999999999"}},
        {"requires", unsupported, {R"(["gpu"])"}},
        {"requires", invalid, {"[1]", "{}"}},
        {"id", invalid, {"", "\"\"", "7", R"("../x")", R"("a..b")", R"("a-")", text(256)}},
        {"id", invalid, {R"("a b")", "\"\xC3\xA9\""}},
        {"name", invalid, {"", "\"\"", R"("a\nb")", R"("\u001b[31m")", R"("\u0085")", text(256)}},
        {"version", invalid, {"", "\"\"", "\"one\"", "1.0"}},
        {"products", invalid, {"", "[]", "{}", "[1]", "[{}]", name("\"\""), name(text(64))}},
        {"name", invalid, {R"(" ")", R"("\u3000")", R"("a\u202eb")", R"("a\u200bb")"}},
        {"products",
         invalid,
         {R"([{"name":"a"},{"name":"a","minVersion":"1"}])", manyProducts(257)}},
        {"products", invalid, {range(R"("minVersion":"x")"), range(R"("maxVersion":"")")}},
        {"products", invalid, {range(R"("minVersion":"2","maxVersion":"1")")}},
        {"storeName", invalid, {text(256), "1"}},
        {"description", invalid, {R"("\u0007")"}},
        {"author", invalid, {R"("a\tb")"}},
        {"updateUrl", invalid, {"[]"}},
        {"requiresAccount", invalid, {"\"true\"", "1"}},
    };
    for (const auto& row : rows) {
        for (const auto& json : row.values) {
            const auto faults = faultsOf(manifestWith(row.member, json));
            ASSERT_EQ(faults.size(), 1U) << row.member << ' ' << json;
            EXPECT_EQ(faults[0].status, row.status) << row.member << ' ' << json;
            EXPECT_NE(faults[0].text.find(row.member), std::string::npos) << faults[0].text;
            EXPECT_TRUE(isPrintableText(faults[0].text)) << row.member << ' ' << json;
        }
    }
}

TEST(Manifest, TakesWhatIsAtTheLimits) {
    const std::pair<const char*, std::string> rows[] = {
        {"id", "\"A_b-c.D\""},
        {"name", "\"Pinceaux d'\xC3\xA9t\xC3\xA9 \xF0\x9F\x8E\xA8\""},
        {"products", R"([{"name":"a","minVersion":"1.0","maxVersion":"1"},{"name":"A"}])"},
        {"products", manyProducts(256)},
        {"storeName", "\"\""},
        {"description", R"("one\ntwo\ttabs")"},
        {"requires", "[]"},
    };
    for (const auto& [member, json] : rows)
        EXPECT_TRUE(faultsOf(manifestWith(member, json)).empty()) << member << ' ' << json;
}

}  // namespace
}  // namespace tavik::testing
