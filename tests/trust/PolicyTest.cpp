#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "platform/core/policy/Policy.h"
#include "tests/package/Expect.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {
namespace {

TEST(Policy, FillsWhatItNamesAndKeepsTheRest) {
    const Policy policy = parsePolicy(R"({"requireSignature": true,
        "limits": {"entries": 7, "totalBytes": 1099511627776, "fileBytes": 6, "ratio": 3,
                   "graceBytes": 0, "manifestBytes": 2000, "manifestDepth": 5}})");
    EXPECT_TRUE(policy.requireSignature);
    EXPECT_EQ(policy.limits.entries, 7U);
    EXPECT_EQ(policy.limits.totalBytes, std::uint64_t{1} << 40);
    EXPECT_EQ(policy.limits.fileBytes, 6U);
    EXPECT_EQ(policy.limits.ratio, 3U);
    EXPECT_EQ(policy.limits.graceBytes, 0U);
    EXPECT_EQ(policy.limits.manifest.bytes, 2000U);
    EXPECT_EQ(policy.limits.manifest.depth, 5U);
    const Policy rest = parsePolicy(R"({"limits": {"entries": 7}})");
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
    };
    for (const auto& [json, place] : rows) {
        SCOPED_TRACE(json);
        const TemporaryFolder family;
        writeFile(family / "policy.json", json);
        for (const std::string& named : {place, family / "policy.json"})
            expectStatus(Status::policyInvalid, named, [&] { loadPolicy(family.path().string()); });
    }
}

// A policy that others can write, or put another in the place of, decides nothing.
TEST(Policy, IsRefusedWhereOthersCouldHaveMadeIt) {
    const TemporaryFolder family;
    const std::string folder = family.path().string();
    const std::string file = family / "policy.json";
    writeFile(file, "{}");
    std::filesystem::permissions(file, std::filesystem::perms(0664));
    expectStatus(Status::storeUnsafe, file, [&] { loadPolicy(folder); });
    std::filesystem::permissions(file, std::filesystem::perms(0644));
    std::filesystem::permissions(folder, std::filesystem::perms(0777));
    expectStatus(Status::storeUnsafe, folder, [&] { loadPolicy(folder); });
    std::filesystem::permissions(folder, std::filesystem::perms(0755));

    std::filesystem::rename(file, family / "elsewhere");
    std::filesystem::create_symlink(family / "elsewhere", file);
    expectStatus(Status::policyInvalid, "link", [&] { loadPolicy(folder); });
    std::filesystem::remove(file);
    std::filesystem::create_directory(file);
    expectStatus(Status::policyInvalid, "not a regular file", [&] { loadPolicy(folder); });
    const TemporaryFolder other;
    std::filesystem::create_symlink(folder, other / "QZ");
    expectStatus(Status::storeUnsafe, "link", [&] { loadPolicy(other / "QZ"); });
}

}  // namespace
}  // namespace tavik::testing
