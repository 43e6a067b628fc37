#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <map>
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
    void extract(const PackageBuilder& builder, const Progress& progress = {}) {
        builder.write(folder_ / "a.qpk");
        fs::create_directory(target());
        const FileDescriptor descriptor(
            ::open(target().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        extractInto(Package::open(folder_ / "a.qpk"), descriptor.get(), progress);
    }

    std::string target() const { return folder_ / "out"; }

    unsigned modeOf(const std::string& name) const {
        struct stat status {};
        EXPECT_EQ(::lstat((target() + "/" + name).c_str(), &status), 0) << name;
        return status.st_mode;
    }

    TemporaryFolder folder_;
};

// Small, stored, streamed and empty files, enough of them for several workers.
TEST_F(Extraction, WritesExactlyTheArchivesFiles) {
    std::map<std::string, std::string> files = {{"empty", ""},
                                                {"large.bin", noise((4U << 20) + 12345)}};
    for (std::size_t i = 0; i < 200; ++i)
        files["d" + std::to_string(i % 7) + "/e/f" + std::to_string(i)] = noise(i * 100);
    PackageBuilder builder("com.example.a", "1.0");
    for (const auto& [name, content] : files)
        builder.file(name, content);
    builder.stored("stored.bin", files["stored.bin"] = noise(700'000)).folder("empty folder");

    std::uint64_t last = 0;
    std::uint64_t total = 0;
    extract(builder, [&](std::uint64_t done, std::uint64_t all) {
        EXPECT_GT(done, last);
        last = done;
        total = all;
    });
    EXPECT_EQ(last, total);
    EXPECT_EQ(total, Package::open(folder_ / "a.qpk").archive().totalBytes());

    EXPECT_TRUE(fs::is_directory(target() + "/empty folder"));
    EXPECT_TRUE(fs::remove(target() + "/extension.json"));
    for (const auto& entry : fs::recursive_directory_iterator(target())) {
        const std::string name = entry.path().lexically_relative(target()).string();
        if (entry.is_directory())
            continue;
        EXPECT_TRUE(files[name] == readFile(entry)) << name;
        files.erase(name);
    }
    EXPECT_TRUE(files.empty());
}

TEST_F(Extraction, SetsModesWhateverTheUmask) {
    fs::create_directory(target());
    PackageBuilder builder("com.example.a", "1.0");
    builder.file("plain", "x", 0100600).file("a/b/tool", "x", 0100700).folder("c", 040700);
    for (const mode_t mask : {0U, 0777U}) {
        const mode_t before = ::umask(mask);
        EXPECT_NO_THROW(extract(builder)) << mask;
        ::umask(before);
        EXPECT_EQ(modeOf("plain"), 0100644U) << mask;
        EXPECT_EQ(modeOf("a/b/tool"), 0100755U) << mask;
        for (const char* made : {"a", "a/b", "c"})
            EXPECT_EQ(modeOf(made), 040755U) << made << mask;
        for (const char* made : {"plain", "a", "c", "extension.json"})
            fs::remove_all(target() + "/" + made);
    }
}

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
