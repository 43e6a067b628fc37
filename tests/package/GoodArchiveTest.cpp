#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/core/package/Package.h"
#include "tests/support/PackageBuilder.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik {
namespace {

using testing::littleEndian;
using testing::PackageBuilder;
using testing::PlannedEnd;
using testing::PlannedEntry;
using testing::PlannedHeader;
using testing::zip64Extra;

const std::string kContent = "some content";

std::string entry(const std::function<void(PlannedEntry&)>& change) {
    return PackageBuilder("com.example.a", "1.0").file("a.txt", kContent).change(change).bytes();
}

/// The forms that packers write to a pipe, where the sizes are not known in time.
void addDescriptor(PlannedEntry& e, const std::string& signature, unsigned width) {
    e.both([](PlannedHeader& h) { h.flags |= 1U << 3; });
    e.after = signature + littleEndian(e.central.crc, 4) +
              littleEndian(e.central.compressedSize, width) + littleEndian(e.central.size, width);
    e.local.crc = e.local.size = e.local.compressedSize = 0;
    if (width == 8) {
        e.local.size = e.local.compressedSize = 0xFFFFFFFF;
        e.local.extra = zip64Extra({0, 0});
    }
}

TEST(GoodArchive, ReadsEveryFormThatPackersWrite) {
    std::string deep = "x";
    for (int i = 0; i < 31; ++i)
        deep = "d/" + deep;
    const std::string component(255, 'c');
    const auto with = [](const std::string& name) {
        return PackageBuilder("com.example.a", "1.0")
            .stored("a.txt", kContent)
            .file(name, "x")
            .bytes();
    };
    const std::pair<const char*, std::string> rows[] = {
        {"deflated", entry([](PlannedEntry&) {})},
        {"descriptor", entry([](PlannedEntry& e) { addDescriptor(e, "PK\7\10", 4); })},
        {"bare descriptor", entry([](PlannedEntry& e) { addDescriptor(e, "", 4); })},
        {"zip64 descriptor", entry([](PlannedEntry& e) { addDescriptor(e, "PK\7\10", 8); })},
        {"bare zip64 descriptor", entry([](PlannedEntry& e) { addDescriptor(e, "", 8); })},
        {"early sizes and descriptor", entry([](PlannedEntry& e) {
             addDescriptor(e, "", 4);
             e.local.size = e.central.size;
         })},
        {"zip64 in both headers", entry([](PlannedEntry& e) {
             e.both([](PlannedHeader& h) {
                 h.extra = zip64Extra({h.size, h.compressedSize});
                 h.size = h.compressedSize = 0xFFFFFFFF;
             });
         })},
        {"zip64 end record", PackageBuilder("com.example.a", "1.0")
                                 .stored("a.txt", kContent)
                                 .changeEnd([](PlannedEnd& e) {
                                     const auto at = e.directoryOffset + e.directorySize;
                                     e.before = "PK\6\6" + littleEndian(44, 8) +
                                                std::string(12, '\0') + littleEndian(2, 8) +
                                                littleEndian(2, 8) +
                                                littleEndian(e.directorySize, 8) +
                                                littleEndian(e.directoryOffset, 8) + "PK\6\7" +
                                                littleEndian(0, 4) + littleEndian(at, 8) +
                                                littleEndian(1, 4);
                                     e.directoryOffset = 0xFFFFFFFF;
                                 })
                                 .bytes()},
        {"large extra field", entry([](PlannedEntry& e) {
             e.local.extra = littleEndian(7, 2) + littleEndian(300, 2) + std::string(300, 'x');
         })},
        {"the name again", entry([](PlannedEntry& e) {
             e.central.extra =
                 littleEndian(0x7075, 2) + littleEndian(10, 2) + std::string(5, '\1') + "a.txt";
         })},
        {"entry comment", entry([](PlannedEntry& e) { e.comment = "note"; })},
        {"made by DOS", entry([](PlannedEntry& e) { e.madeBy = 0, e.attributes = 0; })},
        {"directory in another order",
         PackageBuilder("com.example.a", "1.0").file("a.txt", kContent).reverseDirectory().bytes()},
        {"depth 32", with(deep)},
        {"long component", with(component)},
        {"long path", with(component + "/" + component + "/" + component + "/" + component)},
        {"dots in names", with("..a/...")},
        {"accents", with("d\xC3\xA9j\xC3\xA0/vu")},
    };
    const testing::TemporaryFolder folder;
    const std::string path = folder / "a.qpk";
    for (const auto& [name, bytes] : rows) {
        testing::writeFile(path, bytes);
        EXPECT_TRUE(findFaults(path).empty()) << name << ": " << findFaults(path)[0].text;
        const Package package = Package::open(path);
        EXPECT_EQ(package.manifest().id, "com.example.a") << name;
        const ArchiveEntry* entry = package.archive().find("a.txt");
        ASSERT_NE(entry, nullptr) << name;
        EXPECT_EQ(package.read(*entry, kContent.size()), kContent) << name;
    }
}

TEST(GoodArchive, ReadsNoEntryOverTheCallersLimit) {
    const testing::TemporaryFolder folder;
    testing::writeFile(folder / "a.qpk", entry([](PlannedEntry&) {}));
    const Package package = Package::open(folder / "a.qpk");
    EXPECT_THROW(package.read(*package.archive().find("a.txt"), kContent.size() - 1), Error);
}

}  // namespace
}  // namespace tavik
