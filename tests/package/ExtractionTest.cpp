#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <string>

#include "platform/core/package/Extraction.h"
#include "platform/core/package/Package.h"
#include "tests/support/PackageBuilder.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik {
namespace {

namespace fs = std::filesystem;
using testing::PackageBuilder;
using testing::PlannedEntry;
using testing::PlannedHeader;

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

    testing::TemporaryFolder folder_;
};

class Umask {
  public:
    explicit Umask(mode_t mask) : old_(::umask(mask)) {}
    ~Umask() { ::umask(old_); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

  private:
    mode_t old_;
};

// Small, stored, streamed and empty files, enough of them for several workers.
TEST_F(Extraction, WritesExactlyTheArchivesFiles) {
    std::map<std::string, std::string> files = {
        {"empty", ""}, {"large.bin", noise((4U << 20) + 12345)}, {"META-INF/list", "x"}};
    for (int i = 0; i < 200; ++i)
        files["d" + std::to_string(i % 7) + "/e/f" + std::to_string(i)] =
            noise(static_cast<std::size_t>(i) * 100);
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

    std::size_t found = 0;
    for (const auto& entry : fs::recursive_directory_iterator(target())) {
        const std::string name = entry.path().lexically_relative(target()).string();
        if (!entry.is_regular_file() || name == "extension.json")
            continue;
        EXPECT_TRUE(files.count(name) == 1 && files[name] == testing::readFile(entry)) << name;
        ++found;
    }
    EXPECT_EQ(found, files.size());
    EXPECT_TRUE(fs::is_directory(target() + "/empty folder"));
    EXPECT_EQ(last, total);
    EXPECT_EQ(total, Package::open(folder_ / "a.qpk").archive().totalBytes());
}

TEST_F(Extraction, SetsModesWhateverTheUmask) {
    for (const mode_t mask : {0U, 022U, 077U, 0777U}) {
        {
            const Umask umask(0);
            fs::remove_all(target());
            fs::create_directory(target());
        }
        PackageBuilder builder("com.example.a", "1.0");
        builder.file("plain", "x", 0100600).file("a/b/tool", "x", 0100700).folder("c", 040700);
        const Umask umask(mask);
        extract(builder);
        EXPECT_EQ(modeOf("plain"), 0100644U) << mask;
        EXPECT_EQ(modeOf("a/b/tool"), 0100755U) << mask;
        EXPECT_EQ(modeOf("a"), 040755U) << mask;
        EXPECT_EQ(modeOf("a/b"), 040755U) << mask;
        EXPECT_EQ(modeOf("c"), 040755U) << mask;
    }
}

TEST_F(Extraction, FollowsNoLinkAndOverwritesNothing) {
    const auto plant = [&](const std::string& name) {
        fs::remove_all(target());
        fs::create_directories(target());
        fs::create_directory(folder_ / "outside");
        fs::create_symlink("../outside", target() + "/" + name);
    };
    plant("d");
    EXPECT_THROW(extract(PackageBuilder("a", "1").file("d/x", "x")), Error) << "linked folder";
    plant("x");
    EXPECT_THROW(extract(PackageBuilder("a", "1").file("x", "x")), Error) << "linked file";
    EXPECT_TRUE(fs::is_empty(folder_ / "outside"));
    plant("y");
    testing::writeFile(target() + "/x", "old");
    EXPECT_THROW(extract(PackageBuilder("a", "1").file("x", "new")), Error) << "file";
    EXPECT_EQ(testing::readFile(target() + "/x"), "old");
}

/// Content that is not what its headers say, each in a size that inflates at once and in one that
/// streams. The container itself is right.
TEST_F(Extraction, RefusesContentThatItsHeadersDoNotTell) {
    const auto bothSizes = [](std::int64_t by) {
        return [by](PlannedEntry& e) {
            e.both([&](PlannedHeader& h) { h.size = static_cast<std::uint32_t>(h.size + by); });
        };
    };
    const auto data = [](const std::function<void(std::string&)>& change) {
        return [change](PlannedEntry& e) {
            change(e.data);
            e.both([&](PlannedHeader& h) {
                h.compressedSize = static_cast<std::uint32_t>(e.data.size());
            });
        };
    };
    const std::pair<const char*, std::function<void(PlannedEntry&)>> rows[] = {
        {"CRC", [](PlannedEntry& e) { e.both([](PlannedHeader& h) { h.crc ^= 1; }); }},
        {"a byte more than its size", bothSizes(-1)},
        {"a byte less than its size", bothSizes(1)},
        {"stream without end", data([](std::string& d) { d.resize(d.size() - 8); })},
        {"bytes behind the stream", data([](std::string& d) { d += "x"; })},
        {"no stream", data([](std::string& d) { d[0] = '\7'; })},
        {"one wrong bit", data([](std::string& d) { d[d.size() / 2] ^= 16; })},
    };
    for (const std::size_t size : {5'000U, 5'000'000U}) {
        for (const auto& [name, change] : rows) {
            fs::remove_all(target());
            try {
                extract(PackageBuilder("a", "1").file("x", noise(size)).change(change));
                ADD_FAILURE() << name << ", " << size << ": was taken";
            } catch (const Error& error) {
                EXPECT_EQ(error.status(), static_cast<int>(Status::packageDamaged)) << name;
                EXPECT_NE(error.detail().find("entry \"x\""), std::string::npos) << name;
            }
            EXPECT_LE(fs::file_size(target() + "/x"), size) << name;
            EXPECT_EQ(findFaults(folder_ / "a.qpk").size(), 1U) << name << ", " << size;
        }
    }
    fs::remove_all(target());
    EXPECT_THROW(extract(PackageBuilder("a", "1").stored("x", "abc").change([](PlannedEntry& e) {
                     e.data = "abd";
                 })),
                 Error)
        << "stored";
}

TEST_F(Extraction, NoticesAFileThatIsCutMeanwhile) {
    PackageBuilder("a", "1").stored("x", noise(100'000)).write(folder_ / "a.qpk");
    const Package package = Package::open(folder_ / "a.qpk");
    fs::resize_file(folder_ / "a.qpk", 50'000);
    EXPECT_THROW(package.stream(*package.archive().find("x"), [](std::string_view) {}), Error);
}

}  // namespace
}  // namespace tavik
