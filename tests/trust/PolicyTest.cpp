#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "platform/core/policy/PolicyFile.h"
#include "tests/package/Expect.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {
namespace {

TEST(Policy, FillsWhatItNamesAndKeepsTheRest) {
    const Policy policy = combine({parsePolicyFile(R"({"requireSignature": true,
        "limits": {"entries": 7, "totalBytes": 1099511627776, "fileBytes": 6, "ratio": 3,
                   "graceBytes": 0, "manifestBytes": 2000, "manifestDepth": 5}})")});
    EXPECT_TRUE(policy.requireSignature);
    EXPECT_EQ(policy.limits.entries, 7U);
    EXPECT_EQ(policy.limits.totalBytes, std::uint64_t{1} << 40);
    EXPECT_EQ(policy.limits.fileBytes, 6U);
    EXPECT_EQ(policy.limits.ratio, 3U);
    EXPECT_EQ(policy.limits.graceBytes, 0U);
    EXPECT_EQ(policy.limits.manifest.bytes, 2000U);
    EXPECT_EQ(policy.limits.manifest.depth, 5U);
    const Policy rest = combine({parsePolicyFile(R"({"limits": {"entries": 7}})")});
    EXPECT_EQ(rest.limits.fileBytes, PackageLimits().fileBytes);
    EXPECT_FALSE(rest.requireSignature);
}

// Each row is a rule that an administrator meant and that must not be dropped in silence.
TEST(Policy, RefusesWhatItCannotTakeAtItsWord) {
    const std::pair<const char*, std::string> rows[] = {
        {"[]", "$ is not"},
        {R"({"requireSignature": "true"})", "$.requireSignature"},
        {R"({"requireSignature": true, "requireSignature": false})", "duplicate"},
        {R"({"requireSignatures": true})", "\"requireSignatures\""},
        {R"({"limits": {"totalbytes": 512}})", "\"totalbytes\""},
        {R"({"limits": 5})", "$.limits"},
        {R"({"limits": {"entries": 0}})", "$.limits.entries"},
        {R"({"limits": {"entries": 1000001}})", "$.limits.entries"},
        {R"({"limits": {"totalBytes": 18446744073709551616}})", "$.limits.totalBytes"},
        {R"({"limits": {"manifestDepth": 1000}})", "$.limits.manifestDepth"},
        {R"({"allow": "com.example.a"})", "$.allow"},
        {R"({"deny": [5]})", "$.deny[0]"},
        {R"({"deny": ["com.*.a"]})", "$.deny[0]"},
        {R"({"deny": [".*"]})", "$.deny[0]"},
        {R"({"deny": ["com.example..*"]})", "$.deny[0]"},
        {R"({"feeds": ["http://e.com/"]})", "$.feeds[0]"},
        {R"({"feeds": ["https://e.com/a/..%2fb/"]})", "$.feeds[0]"},
        {R"({"feeds": ["https://e.com/?a"]})", "$.feeds[0]"},
        {R"({"redirects": ["https://e.com/"]})", "$.redirects"},
        {R"({"redirects": {"https://e.com/": "https://user@f.com/"}})", "$.redirects[\"https"},
        {R"({"redirects": {"https://e.com/": "https://f.com/x"}})", "both addresses end"},
    };
    for (const auto& [json, place] : rows) {
        SCOPED_TRACE(json);
        const TemporaryFolder family;
        writeFile(family / "policy.json", json);
        for (const std::string& named : {place, family / "policy.json"})
            expectStatus(Status::policyInvalid, named,
                         [&] { loadPolicy({family.path().string()}); });
    }
}

// Each row's files say something about one matter; the stricter must count, in either order.
TEST(Policy, TheStricterCounts) {
    const TemporaryFolder folders;
    const struct {
        const char* system;
        const char* shared;
        bool (*holds)(const Policy& policy);
    } rows[] = {
        {R"({"requireSignature": true})", R"({"requireSignature": false})",
         [](const Policy& p) { return p.requireSignature; }},
        {R"({"limits": {"entries": 5}})", R"({"limits": {"entries": 6}})",
         [](const Policy& p) { return p.limits.entries == 5; }},
        // Where only one says something, it counts, also where it allows more than the default.
        {R"({"limits": {"entries": 20000}})", R"({"limits": {"ratio": 3}})",
         [](const Policy& p) { return p.limits.entries == 20000 && p.limits.ratio == 3; }},
        {R"({"allow": ["a.*"]})", R"({"allow": ["a.b", "c"]})",
         [](const Policy& p) {
             return p.allowsExtension("a.b") && !p.allowsExtension("a.c") &&
                    !p.allowsExtension("c");
         }},
        {R"({"deny": ["A.*", "x"]})", R"({"allow": ["*"]})",
         [](const Policy& p) {
             return !p.allowsExtension("a.b") && p.allowsExtension("a") &&
                    !p.allowsExtension("x") && p.allowsExtension("xy");
         }},
        {R"({"allow": []})", "{}", [](const Policy& p) { return !p.allowsExtension("a"); }},
        {R"({"feeds": ["https://a.com/", "https://b.com/x/"]})",
         R"({"feeds": ["https://b.com/", "https://a.com/feed.json"]})",
         [](const Policy& p) {
             const auto asks = [&](const char* a) { return p.allowsFeed(Address::parse(a)); };
             return asks("https://a.com/feed.json") && asks("https://b.com/x/y") &&
                    !asks("https://a.com/other.json") && !asks("https://b.com/y");
         }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.system) + row.shared);
        writeFile(folders / "system/policy.json", row.system);
        writeFile(folders / "shared/policy.json", row.shared);
        EXPECT_TRUE(row.holds(loadPolicy({folders / "system", folders / "shared"})));
        EXPECT_TRUE(row.holds(loadPolicy({folders / "shared", folders / "system"})));
    }
}

// Each address looks allowed, but leads elsewhere.
TEST(Policy, FeedsAreNotTakenFromElsewhere) {
    const Policy policy =
        combine({parsePolicyFile(R"({"feeds": ["https://a.com", "https://b.com/x/"]})")});
    for (const char* inside : {"https://a.com", "HTTPS://A.com/", "https://b.com/x/feed.json?v=1"})
        EXPECT_TRUE(policy.allowsFeed(Address::parse(inside))) << inside;
    for (const char* outside :
         {"https://a.com.evil.com/", "https://a.com:444/", "https://b.com/x/../feed.json",
          "https://b.com/x/%2e%2E/feed.json", "https://b.com/x/.%2e/feed.json", "https://b.com/xy",
          "https://b.com/x/%2E./feed.json", "http://127.0.0.1/", "file:///x/"})
        EXPECT_FALSE(policy.allowsFeed(Address::parse(outside))) << outside;
}

TEST(Policy, LeadsToTheMirror) {
    const Policy policy = combine({parsePolicyFile(R"({"redirects": {
        "https://a.com/": "https://mirror.corp/a/", "https://a.com/big/": "file:///srv/big/",
        "https://b.com/feed.json": "https://mirror.corp/b.json"}})")});
    const std::pair<const char*, const char*> rows[] = {
        {"https://A.com/x/feed.json?v=1", "https://mirror.corp/a/x/feed.json?v=1"},
        {"https://a.com/big/p.qpk", "file:///srv/big/p.qpk"},
        {"https://b.com/feed.json", "https://mirror.corp/b.json"},
        {"https://b.com/feed.json.sig", "https://b.com/feed.json.sig"},
        {"https://a.com/big/../../etc/passwd", "https://mirror.corp/a/etc/passwd"},
        {"https://a.com:0443/%62ig/./p.qpk", "file:///srv/big/p.qpk"},
    };
    for (const auto& [from, to] : rows)
        EXPECT_EQ(policy.route(Address::parse(from)).text(), to) << from;
    EXPECT_THROW(policy.route(Address::parse("https://a.com/big/p.qpk?v=1")), AddressError);
}

// A policy that others can write or replace must not be used.
TEST(Policy, IsRefusedWhereOthersCouldHaveMadeIt) {
    const TemporaryFolder family;
    const std::string folder = family.path().string();
    const std::string file = family / "policy.json";
    writeFile(file, "{}");
    std::filesystem::permissions(file, std::filesystem::perms(0664));
    expectStatus(Status::storeUnsafe, file, [&] { loadPolicy({folder}); });
    std::filesystem::permissions(file, std::filesystem::perms(0644));
    std::filesystem::permissions(folder, std::filesystem::perms(0777));
    expectStatus(Status::storeUnsafe, folder, [&] { loadPolicy({folder}); });
    std::filesystem::permissions(folder, std::filesystem::perms(0755));

    std::filesystem::rename(file, family / "elsewhere");
    std::filesystem::create_symlink(family / "elsewhere", file);
    expectStatus(Status::policyInvalid, "link", [&] { loadPolicy({folder}); });
    std::filesystem::remove(file);
    std::filesystem::create_directory(file);
    expectStatus(Status::policyInvalid, "not a regular file", [&] { loadPolicy({folder}); });
    const TemporaryFolder other;
    std::filesystem::create_symlink(folder, other / "QZ");
    expectStatus(Status::storeUnsafe, "link", [&] { loadPolicy({other / "QZ"}); });
}

}  // namespace
}  // namespace tavik::testing
