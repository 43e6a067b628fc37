#include <fcntl.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>

#include "platform/core/package/Extraction.h"
#include "platform/core/package/Package.h"
#include "tests/package/Expect.h"
#include "tests/support/PackageBuilder.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;

/// Bytes that deflate only a little and have no period.
std::string noise(std::size_t size) {
    std::string bytes(size, '\0');
    std::uint32_t state = 1;
    for (char& c : bytes) {
        state = state * 1664525 + 1013904223;
        c = static_cast<char>(state >> 26);
    }
    return bytes;
}

class Extraction : public ::testing::Test {
  protected:
    void extract(const PackageBuilder& builder) {
        builder.write(folder_ / "a.qpk");
        fs::create_directory(target());
        const FileDescriptor descriptor(
            ::open(target().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        extractInto(Package::open(folder_ / "a.qpk"), descriptor.get());
    }

    std::string target() const { return folder_ / "out"; }

    TemporaryFolder folder_;
};

TEST_F(Extraction, FollowsNoLinkAndOverwritesNothing) {
    for (const char* planted : {"d", "x"}) {
        fs::remove_all(target());
        fs::create_directories(target());
        fs::create_directory(folder_ / "outside");
        fs::create_symlink("../outside", target() + "/" + planted);
        EXPECT_THROW(extract(PackageBuilder("a", "1").file("d/y", "").file("x", "")), Error);
        EXPECT_TRUE(fs::is_empty(folder_ / "outside")) << planted;
    }
    fs::remove(target() + "/x");
    writeFile(target() + "/x", "old");
    EXPECT_THROW(extract(PackageBuilder("a", "1").file("x", "new")), Error);
    EXPECT_EQ(readFile(target() + "/x"), "old");
}

/// Content that is not what its headers say, each in a size that inflates at once and in one that
/// streams. The container itself is right.
TEST_F(Extraction, RefusesContentThatItsHeadersDoNotTell) {
    const auto size = [](unsigned by) {
        return [by](PlannedEntry& e) { e.both([&](auto& h) { h.size += by; }); };
    };
    const auto data = [](const std::function<void(std::string&)>& change) {
        return [change](PlannedEntry& e) {
            change(e.data);
            const auto bytes = static_cast<std::uint32_t>(e.data.size());
            e.both([&](auto& h) { h.compressedSize = bytes; });
        };
    };
    const std::pair<const char*, std::function<void(PlannedEntry&)>> rows[] = {
        {"CRC", [](auto& e) { e.both([](auto& h) { h.crc ^= 1; }); }},
        {"a byte more than its size", size(~0U)},
        {"a byte less than its size", size(1)},
        {"stream without end", data([](auto& d) { d.resize(d.size() - 8); })},
        {"bytes behind the stream", data([](auto& d) { d += "x"; })},
        {"no stream", data([](auto& d) { d[0] = '\7'; })},
    };
    const auto refuse = [&](const std::string& name, const PackageBuilder& builder) {
        fs::remove_all(target());
        SCOPED_TRACE(name);
        expectStatus(Status::packageDamaged, "entry \"x\"", [&] { extract(builder); });
        EXPECT_EQ(findFaults(folder_ / "a.qpk").size(), 1U) << name;
    };
    for (const std::size_t bytes : {5'000U, 5'000'000U}) {
        for (const auto& [name, change] : rows) {
            refuse(name, PackageBuilder("a", "1").file("x", noise(bytes)).change(change));
            EXPECT_LE(fs::file_size(target() + "/x"), bytes) << name;
        }
    }
    const auto wrong = [](auto& e) { e.data = "abd"; };
    refuse("stored", PackageBuilder("a", "1").stored("x", "abc").change(wrong));
}

TEST_F(Extraction, NoticesAFileThatIsCutMeanwhile) {
    PackageBuilder("a", "1").stored("x", noise(100'000)).write(folder_ / "a.qpk");
    const Package package = Package::open(folder_ / "a.qpk");
    fs::resize_file(folder_ / "a.qpk", 50'000);
    EXPECT_THROW(package.stream(*package.archive().find("x"), [](std::string_view) {}), Error);
}

}  // namespace
}  // namespace tavik::testing
