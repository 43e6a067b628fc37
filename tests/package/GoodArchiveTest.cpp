#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/core/package/Package.h"
#include "tests/support/PackageBuilder.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {
namespace {

const std::string kContent = "some content";

PackageBuilder base() {
    return PackageBuilder("com.example.a", "1.0").file("a.txt", kContent);
}

std::string entry(const std::function<void(PlannedEntry&)>& change) {
    return base().change(change).bytes();
}

TEST(GoodArchive, ReadsEveryFormThatPackersWrite) {
    std::string deep = "x";
    for (int i = 0; i < 31; ++i)
        deep = "d/" + deep;
    const std::string component(255, 'c');
    const std::string longPath = component + "/" + component + "/" + component + "/" + component;
    const std::string unicodePath =
        littleEndian(0x7075, 2) + littleEndian(10, 2) + std::string(5, '\1') + "a.txt";
    const std::pair<const char*, std::string> rows[] = {
        {"descriptor", entry([](auto& e) { addDescriptor(e, "PK\7\10", 4); })},
        {"bare descriptor", entry([](auto& e) { addDescriptor(e, "", 4); })},
        {"zip64 descriptor", entry([](auto& e) { addDescriptor(e, "PK\7\10", 8); })},
        {"bare zip64 descriptor", entry([](auto& e) { addDescriptor(e, "", 8); })},
        {"early sizes and descriptor", entry([](auto& e) {
             addDescriptor(e, "", 4);
             e.local.size = e.central.size;
         })},
        {"zip64 in both headers", entry([](auto& e) {
             e.both([](auto& h) {
                 h.extra = zip64Extra({h.size, h.compressedSize});
                 h.size = h.compressedSize = 0xFFFFFFFF;
             });
         })},
        {"zip64 end record", base()
                                 .changeEnd([](auto& e) {
                                     e.before = zip64End(e);
                                     e.directoryOffset = 0xFFFFFFFF;
                                 })
                                 .bytes()},
        {"large extra field", entry([](auto& e) {
             e.local.extra = littleEndian(7, 2) + littleEndian(300, 2) + std::string(300, 'x');
         })},
        {"the name again", entry([&](auto& e) { e.central.extra = unicodePath; })},
        {"entry comment", entry([](auto& e) { e.comment = "note"; })},
        {"made by DOS", entry([](auto& e) { e.madeBy = 0, e.attributes = 0; })},
        {"directory in another order", base().reverseDirectory().bytes()},
        {"depth 32", base().file(deep, "x").bytes()},
        {"long path", base().file(longPath, "x").bytes()},
        {"dots and accents", base().file("..a/.../d\xC3\xA9j\xC3\xA0", "x").bytes()},
    };
    const TemporaryFolder folder;
    const std::string path = folder / "a.qpk";
    for (const auto& [name, bytes] : rows) {
        writeFile(path, bytes);
        EXPECT_TRUE(findFaults(path).empty()) << name << ": " << findFaults(path)[0].text;
        const Package package = Package::open(path);
        EXPECT_EQ(package.manifest().id, "com.example.a") << name;
        const ArchiveEntry* entry = package.archive().find("a.txt");
        ASSERT_NE(entry, nullptr) << name;
        EXPECT_EQ(package.read(*entry, kContent.size()), kContent) << name;
        EXPECT_THROW(package.read(*entry, kContent.size() - 1), Error) << "the caller's limit";
    }
}

}  // namespace
}  // namespace tavik::testing
