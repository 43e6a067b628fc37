#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/core/package/Package.h"
#include "tests/support/PackageBuilder.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik {
namespace {

using namespace std::string_literals;
using testing::littleEndian;
using testing::PackageBuilder;
using testing::PlannedEnd;
using testing::PlannedEntry;
using testing::PlannedHeader;
using testing::zip64Extra;

constexpr std::uint16_t kDescriptor = 1U << 3;

struct Row {
    std::string name;
    std::string bytes;
};

PackageBuilder base() {
    return {"com.example.a", "1.0"};
}

/// A package whose last entry is changed.
std::string entry(const std::function<void(PlannedEntry&)>& change) {
    return base().file("a.txt", "some content").change(change).bytes();
}

std::string bothHeaders(const std::function<void(PlannedHeader&)>& change) {
    return entry([&](PlannedEntry& e) { e.both(change); });
}

std::string localHeader(const std::function<void(PlannedHeader&)>& change) {
    return entry([&](PlannedEntry& e) { change(e.local); });
}

std::string endRecord(const std::function<void(PlannedEnd&)>& change) {
    return base().file("a.txt", "some content").changeEnd(change).bytes();
}

std::string mode(unsigned mode, const std::string& name = "a", std::uint16_t madeBy = 3U << 8) {
    return base()
        .stored(name, "", mode)
        .change([&](PlannedEntry& e) { e.madeBy = madeBy; })
        .bytes();
}

std::string dosAttributes(std::uint32_t attributes) {
    return entry([&](PlannedEntry& e) {
        e.madeBy = 0;
        e.attributes = attributes;
    });
}

/// A package whose last entry has a data descriptor made of these.
std::string descriptor(const std::function<std::string(const PlannedHeader&)>& make) {
    return entry([&](PlannedEntry& e) {
        e.after = make(e.central);
        e.both([](PlannedHeader& h) { h.flags |= kDescriptor; });
        e.local.crc = e.local.size = e.local.compressedSize = 0;
    });
}

/// The zip64 end record and its locator for a directory of that form.
std::string zip64End(const PlannedEnd& end, std::uint64_t entries, std::uint64_t offsetError) {
    const std::uint64_t at = end.directoryOffset + end.directorySize;
    return "PK\6\6" + littleEndian(44, 8) + littleEndian(0, 4) + littleEndian(0, 8) +
           littleEndian(entries, 8) + littleEndian(entries, 8) +
           littleEndian(end.directorySize, 8) + littleEndian(end.directoryOffset, 8) + "PK\6\7" +
           littleEndian(0, 4) + littleEndian(at + offsetError, 8) + littleEndian(1, 4);
}

/// Opens each row's package and expects exactly that failure, in the throwing form and in the
/// collecting one, its text fit for one line.
void expectRefused(const std::vector<Row>& rows, Status status, const PackageLimits& limits = {}) {
    const testing::TemporaryFolder folder;
    const std::string path = folder / "a.qpk";
    for (const auto& row : rows) {
        testing::writeFile(path, row.bytes);
        try {
            Package::open(path, limits);
            ADD_FAILURE() << row.name << ": was taken";
        } catch (const Error& error) {
            EXPECT_EQ(error.status(), static_cast<int>(status)) << row.name << ": " << error.what();
            EXPECT_EQ(error.subject(), path) << row.name;
            EXPECT_TRUE(isPrintableText(error.detail()) && !error.detail().empty()) << row.name;
        }
        const auto faults = findFaults(path, limits);
        ASSERT_FALSE(faults.empty()) << row.name;
        EXPECT_EQ(faults.front().status, status) << row.name;
    }
}

TEST(Archive, RefusesAnotherEndOrDirectory) {
    const std::string good = base().bytes();
    expectRefused(
        {
            {"empty file", ""},
            {"too short", good.substr(good.size() - 21)},
            {"no end record", good.substr(0, good.size() - 1)},
            {"cut in the middle", good.substr(0, good.size() / 2)},
            {"no archive", std::string(1000, 'x')},
            {"a byte behind the end", endRecord([](PlannedEnd& e) { e.after = "x"; })},
            {"a comment", endRecord([](PlannedEnd& e) { e.comment = "x"; })},
            {"a second end record in the comment",
             endRecord([](PlannedEnd& e) { e.comment = "PK\5\6" + std::string(18, '\0'); })},
            {"more entries claimed", endRecord([](PlannedEnd& e) {
                 ++e.entries;
                 ++e.entriesHere;
             })},
            {"fewer entries claimed", endRecord([](PlannedEnd& e) {
                 --e.entries;
                 --e.entriesHere;
             })},
            {"counts disagree", endRecord([](PlannedEnd& e) { --e.entriesHere; })},
            {"second disk", endRecord([](PlannedEnd& e) { e.disk = 1; })},
            {"directory on another disk", endRecord([](PlannedEnd& e) { e.directoryDisk = 1; })},
            {"directory larger", endRecord([](PlannedEnd& e) { ++e.directorySize; })},
            {"directory elsewhere", endRecord([](PlannedEnd& e) { --e.directoryOffset; })},
            {"directory before the file",
             endRecord([](PlannedEnd& e) { e.directorySize = 0xFFFFFF00; })},
            {"gap behind the directory", endRecord([](PlannedEnd& e) { e.before = "gap"; })},
            {"no entries but a directory",
             endRecord([](PlannedEnd& e) { e.entries = e.entriesHere = 0; })},
            {"zip64 mark without record",
             endRecord([](PlannedEnd& e) { e.directoryOffset = 0xFFFFFFFF; })},
            {"zip64 record disagrees",
             endRecord([](PlannedEnd& e) { e.before = zip64End(e, e.entries + 1U, 0); })},
            {"zip64 locator points elsewhere",
             endRecord([](PlannedEnd& e) { e.before = zip64End(e, e.entries, 1); })},
            {"zip64 locator without record",
             endRecord([](PlannedEnd& e) { e.before = zip64End(e, e.entries, 0).substr(56); })},
        },
        Status::packageDamaged);
}

TEST(Archive, RefusesEntriesThatAreNotBackToBack) {
    expectRefused(
        {
            {"bytes before the first entry", "MZ" + base().bytes()},
            {"bytes before the first entry, offsets right",
             PackageBuilder()
                 .file("a", "x")
                 .change([](PlannedEntry& e) { e.before = "MZ"; })
                 .bytes()},
            {"gap between entries", entry([](PlannedEntry& e) { e.before = "x"; })},
            {"gap behind the last entry", entry([](PlannedEntry& e) { e.after = "x"; })},
            {"entry that the directory hides", entry([](PlannedEntry& e) {
                 e.before = PackageBuilder().file("hidden", "x").bytes().substr(0, 39);
             })},
            {"two records of one entry", entry([](PlannedEntry& e) { e.offset = 0; })},
            {"data that runs over the next entry", base()
                                                       .stored("a", "x")
                                                       .change([](PlannedEntry& e) {
                                                           e.both([](PlannedHeader& h) {
                                                               h.size = h.compressedSize = 33;
                                                           });
                                                       })
                                                       .stored("b", "x")
                                                       .bytes()},
            {"offset behind the file", entry([](PlannedEntry& e) { e.offset = 0x7FFFFFFF; })},
            {"offset in the directory", entry([](PlannedEntry& e) { e.offset = 400; })},
            {"data longer than the file",
             bothHeaders([](PlannedHeader& h) { h.compressedSize = 0x7FFFFFFF; })},
            {"data longer than its room",
             bothHeaders([](PlannedHeader& h) { ++h.compressedSize; })},
            {"data shorter than its room",
             bothHeaders([](PlannedHeader& h) { --h.compressedSize; })},
            {"on another disk", entry([](PlannedEntry& e) { e.disk = 1; })},
        },
        Status::packageDamaged);
}

TEST(Archive, RefusesHeadersThatDisagree) {
    const auto extra = [](const std::string& field) {
        return bothHeaders([&](PlannedHeader& h) { h.extra = field; });
    };
    expectRefused(
        {
            {"name", localHeader([](PlannedHeader& h) { h.name = "b.txt"; })},
            {"flags", localHeader([](PlannedHeader& h) { h.flags = 0; })},
            {"method", localHeader([](PlannedHeader& h) { h.method = 0; })},
            {"CRC", localHeader([](PlannedHeader& h) { ++h.crc; })},
            {"size", localHeader([](PlannedHeader& h) { ++h.size; })},
            {"compressed size", localHeader([](PlannedHeader& h) { ++h.compressedSize; })},
            {"no local signature", entry([](PlannedEntry& e) { e.offset = 1; })},
            {"descriptor missing", descriptor([](const PlannedHeader&) { return ""; })},
            {"descriptor of another length",
             descriptor([](const PlannedHeader&) { return std::string(13, 'x'); })},
            {"descriptor without signature",
             descriptor([](const PlannedHeader&) { return std::string(16, 'x'); })},
            {"descriptor with another CRC", descriptor([](const PlannedHeader& h) {
                 return littleEndian(h.crc + 1, 4) + littleEndian(h.compressedSize, 4) +
                        littleEndian(h.size, 4);
             })},
            {"descriptor with another size", descriptor([](const PlannedHeader& h) {
                 return littleEndian(h.crc, 4) + littleEndian(h.compressedSize, 4) +
                        littleEndian(h.size + 1, 4);
             })},
            {"zip64 descriptor of a plain entry", descriptor([](const PlannedHeader& h) {
                 return littleEndian(h.crc, 4) + littleEndian(h.compressedSize, 8) +
                        littleEndian(h.size, 8);
             })},
            {"stored with two sizes", bothHeaders([](PlannedHeader& h) { h.method = 0; })},
            {"folder with content", base().stored("a/", "x", 040755).bytes()},
            {"extra field cut off", extra(littleEndian(7, 2))},
            {"extra field too long", extra(littleEndian(7, 2) + littleEndian(5, 2) + "four")},
            {"zip64 that nothing asks for", extra(zip64Extra({12}))},
            {"zip64 twice", extra(zip64Extra({}) + zip64Extra({}))},
            {"zip64 missing", bothHeaders([](PlannedHeader& h) { h.size = 0xFFFFFFFF; })},
            {"zip64 too short", bothHeaders([](PlannedHeader& h) {
                 h.extra = zip64Extra({h.size});
                 h.size = h.compressedSize = 0xFFFFFFFF;
             })},
            {"zip64 with a number too many", bothHeaders([](PlannedHeader& h) {
                 h.extra = zip64Extra({h.size, h.compressedSize, 0, 0});
                 h.size = h.compressedSize = 0xFFFFFFFF;
             })},
            {"zip64 with one size of two", bothHeaders([](PlannedHeader& h) {
                 h.extra = zip64Extra({h.size});
                 h.size = 0xFFFFFFFF;
             })},
            {"zip64 with another size", localHeader([](PlannedHeader& h) {
                 h.extra = zip64Extra({h.size + 1U, h.compressedSize});
                 h.size = h.compressedSize = 0xFFFFFFFF;
             })},
            {"a second name",
             extra(littleEndian(0x7075, 2) + littleEndian(10, 2) + std::string(5, '\1') + "b.txt")},
        },
        Status::packageDamaged);
}

TEST(Archive, RefusesWhatItCannotRead) {
    std::vector<Row> rows;
    for (const unsigned bit : {0U, 4U, 5U, 6U, 7U, 12U, 13U, 15U})
        rows.push_back({"flag " + std::to_string(bit), bothHeaders([&](PlannedHeader& h) {
                            h.flags = static_cast<std::uint16_t>(h.flags | 1U << bit);
                        })});
    for (const int method : {1, 6, 9, 12, 14, 93, 95, 99})
        rows.push_back({"method " + std::to_string(method), bothHeaders([&](PlannedHeader& h) {
                            h.method = static_cast<std::uint16_t>(method);
                        })});
    expectRefused(rows, Status::packageUnsupported);
}

TEST(Archive, RefusesPathsThatEscapeOrCollide) {
    std::string deep = "x";
    for (int i = 0; i < 32; ++i)
        deep = "d/" + deep;
    const std::string component(255, 'c');
    const std::vector<std::string> escaping = {
        "",
        ".",
        "..",
        "../x",
        "a/../../x",
        "a/..",
        "./x",
        "a/./x",
        "a//x",
        "/etc/passwd",
        "//host/x",
        "C:x",
        "c:/x",
        "a\\..\\x",
        "\\x",
        "a\0b"s,
        "a\nb",
        "a\x1B[31m",
        "a\x7F",
        "a\xC2\x85",
        "\xFF",
        "\xC0\xAE\xC0\xAE/x",
        "\xED\xA0\x80",
        "\xE2\x82",
        component + "c",
        component + "/" + component + "/" + component + "/" + component + "/x",
        deep};
    const std::vector<std::pair<std::string, std::string>> colliding = {
        {"a", "a"},
        {"a.txt", "A.TXT"},
        {"x", "extension.json"},
        {"x", "Extension.JSON"},
        {"x", "extension.json/x"},
        {"\xC3\xA9", "e\xCC\x81"},
        {"\xC3\xA9", "\xC3\x89"},
        {"\xC3\x9F", "SS"},
        {"\xE2\x84\xAA", "k"},
        {"Lib/x", "lib/y"},
        {"a/B/c/x", "a/b/c/y"},
        {"\xCE\xB1\xCC\x81\xCD\x85", "\xCE\xB1\xCD\x85\xCC\x81"},
        {"a", "a/x"},
        {"a/x", "a"},
        {"a/b/x", "A"}};
    std::vector<Row> rows;
    for (const auto& name : escaping)
        rows.push_back({"path " + name, base().file(name, "x").bytes()});
    for (const auto& [first, second] : colliding)
        rows.push_back(
            {first + " and " + second, base().file(first, "x").file(second, "x").bytes()});
    rows.push_back({"folder without a name", base().folder("").bytes()});
    rows.push_back({"folder with two slashes", base().folder("a/").bytes()});
    rows.push_back({"folder twice", base().folder("a").folder("a").bytes()});
    rows.push_back({"folder and file", base().folder("a").file("a", "x").bytes()});
    rows.push_back({"folder in two cases", base().folder("a").folder("A").bytes()});
    expectRefused(rows, Status::packageUnsafe);
}

TEST(Archive, RefusesWhatIsNoPlainFileOrFolder) {
    expectRefused(
        {
            {"link", mode(0120777)},
            {"link made by DOS", mode(0120777, "a", 0)},
            {"pipe", mode(010644)},
            {"character device", mode(020644)},
            {"block device", mode(060644)},
            {"socket", mode(0140644)},
            {"set-user-id", mode(0104755)},
            {"set-group-id", mode(0102755)},
            {"set-group-id without a type", mode(02755)},
            {"folder with set-group-id", mode(042755, "a/")},
            {"folder by its mode", mode(040755)},
            {"file by its mode", mode(0100644, "a/")},
            {"folder by its DOS attributes", dosAttributes(0x10)},
            {"volume label", dosAttributes(0x08)},
            {"reparse point", dosAttributes(0x400)},
        },
        Status::packageUnsafe);
}

TEST(Archive, RefusesMoreThanTheLimits) {
    const auto claim = [](std::uint32_t size) {
        return bothHeaders([&](PlannedHeader& h) { h.size = size; });
    };
    PackageBuilder many = base();
    for (int i = 0; i < 10'000; ++i)
        many.stored("f" + std::to_string(i), "");
    expectRefused({{"entries", many.bytes()},
                   {"file", claim((256U << 20) + 1)},
                   {"file of zip64 size", bothHeaders([](PlannedHeader& h) {
                        h.extra = zip64Extra({~0ULL, h.compressedSize});
                        h.size = h.compressedSize = 0xFFFFFFFF;
                    })},
                   {"ratio", base().file("zeros", std::string(20U << 20, '\0')).bytes()},
                   {"directory", entry([](PlannedEntry& e) {
                        e.comment = std::string(65000, 'x');
                        e.central.extra =
                            littleEndian(7, 2) + littleEndian(60000, 2) + std::string(60000, 'x');
                    })},
                   {"manifest", base().with("x", '"' + std::string(1U << 20, 'x') + '"').bytes()}},
                  Status::packageTooLarge);

    PackageLimits limits;
    limits.entries = 8;
    limits.totalBytes = 1000;
    expectRefused({{"folders", base().file("1/2/3/4/5/6/7/8/9/x", "x").bytes()},
                   {"in all", base().stored("a", std::string(999, 'a')).bytes()}},
                  Status::packageTooLarge, limits);
}

TEST(Archive, RefusesAPackageWithoutItsManifest) {
    expectRefused({{"empty archive", PackageBuilder().bytes()},
                   {"elsewhere", PackageBuilder().file("a/extension.json", "{}").bytes()},
                   {"a folder", PackageBuilder().folder("extension.json").bytes()},
                   {"no JSON", PackageBuilder().file("extension.json", "no").bytes()},
                   {"no object", PackageBuilder().file("extension.json", "[]").bytes()}},
                  Status::manifestInvalid);
}

TEST(Archive, RefusesWhatIsNoRegularFile) {
    const testing::TemporaryFolder folder;
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    for (const std::string& path :
         {folder / "none", folder / "pipe", folder.path().string(), "/dev/zero"s, ""s}) {
        try {
            Package::open(path);
            ADD_FAILURE() << path << ": was taken";
        } catch (const Error& error) {
            EXPECT_EQ(error.status(), static_cast<int>(Status::packageUnreadable)) << path;
        }
    }
}

}  // namespace
}  // namespace tavik
