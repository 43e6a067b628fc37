#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/core/package/Package.h"
#include "platform/support/Text.h"
#include "tests/package/Expect.h"
#include "tests/support/PackageBuilder.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {
namespace {

using namespace std::string_literals;

struct Row {
    std::string name;
    std::string bytes;
};

PackageBuilder base() {
    return {"com.example.a", "1.0"};
}

const std::string kContent = "some content";

PackageBuilder good() {
    return base().file("a.txt", kContent);
}

/// A package whose last entry is changed.
std::string entry(const std::function<void(PlannedEntry&)>& change) {
    return good().change(change).bytes();
}

std::string bothHeaders(const std::function<void(PlannedHeader&)>& change) {
    return entry([&](auto& e) { e.both(change); });
}

std::string localHeader(const std::function<void(PlannedHeader&)>& change) {
    return entry([&](auto& e) { change(e.local); });
}

std::string endRecord(const std::function<void(PlannedEnd&)>& change) {
    return good().changeEnd(change).bytes();
}

/// A package with an entry of 12 bytes whose sizes stand in such a zip64 field.
std::string zip64Sizes(const std::vector<std::uint64_t>& numbers) {
    const auto change = [&](PlannedHeader& h) {
        h.extra = zip64Extra(numbers);
        h.size = h.compressedSize = 0xFFFFFFFF;
    };
    return base().stored("a", kContent).change([&](auto& e) { e.both(change); }).bytes();
}

std::string mode(unsigned mode, const std::string& name = "a") {
    return base().stored(name, "", mode).bytes();
}

std::string dosAttributes(std::uint32_t attributes) {
    return entry([&](auto& e) { e.madeBy = 0, e.attributes = attributes; });
}

std::string deepPath(int folders) {
    std::string path = "x";
    for (int i = 0; i < folders; ++i)
        path = "d/" + path;
    return path;
}

const std::string kLongestName(255, 'c');
const std::string kLongestPath =
    kLongestName + "/" + kLongestName + "/" + kLongestName + "/" + kLongestName;

/// The extra field that gives an entry's name once more.
std::string nameAgain(const std::string& name) {
    return littleEndian(0x7075, 2) + littleEndian(5 + name.size(), 2) + std::string(5, '\1') + name;
}

/// Opens each row's package and expects exactly that failure, in the throwing form and in the
/// collecting one, its text fit for one line.
void expectRefused(const std::vector<Row>& rows, Status status, const PackageLimits& limits = {}) {
    const TemporaryFolder folder;
    const std::string path = folder / "a.qpk";
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        writeFile(path, row.bytes);
        expectStatus(status, path + ": ", [&] { Package::open(path, limits); });
        const Fault fault = findFaults(path, limits).at(0);
        EXPECT_EQ(fault.status, status);
        EXPECT_TRUE(isPrintableText(fault.text) && !fault.text.empty()) << fault.text;
    }
}

TEST(Archive, ReadsEveryFormThatPackersWrite) {
    const auto end = [](PlannedEnd& e) {
        e.before = zip64End(e);
        e.directoryOffset = 0xFFFFFFFF;
    };
    const auto sizes = [](PlannedHeader& h) {
        h.extra = zip64Extra({h.size, h.compressedSize});
        h.size = h.compressedSize = 0xFFFFFFFF;
    };
    const std::string zeros(20'000, '\0');
    const std::vector<Row> rows = {
        {"descriptor", entry([](auto& e) { addDescriptor(e, "PK\7\10", 4); })},
        {"bare descriptor", entry([](auto& e) { addDescriptor(e, "", 4); })},
        {"zip64 descriptor", entry([](auto& e) { addDescriptor(e, "PK\7\10", 8); })},
        {"bare zip64 descriptor", entry([](auto& e) { addDescriptor(e, "", 8); })},
        {"early sizes and descriptor", entry([](auto& e) {
             addDescriptor(e, "", 4);
             e.local.size = e.central.size;
         })},
        {"zip64 in both headers", bothHeaders(sizes)},
        {"zip64 end record", endRecord(end)},
        {"large extra field", localHeader([](auto& h) {
             h.extra = littleEndian(7, 2) + littleEndian(300, 2) + std::string(300, 'x');
         })},
        {"the name again", entry([&](auto& e) { e.central.extra = nameAgain("a.txt"); })},
        {"entry comment", entry([](auto& e) { e.comment = "note"; })},
        {"made by DOS", dosAttributes(0)},
        {"directory in another order", good().reverseDirectory().bytes()},
        {"depth 32", good().file(deepPath(31), "x").bytes()},
        {"long path", good().file(kLongestPath, "x").bytes()},
        {"many files of hardly any data",
         good().file("1", zeros).file("2", zeros).file("3", zeros).file("4", zeros).bytes()},
        {"dots and accents", good().file("..a/.../d\xC3\xA9j\xC3\xA0", "x").bytes()},
    };
    const TemporaryFolder folder;
    const std::string path = folder / "a.qpk";
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        writeFile(path, row.bytes);
        EXPECT_TRUE(findFaults(path).empty()) << findFaults(path)[0].text;
        const Package package = Package::open(path);
        EXPECT_EQ(package.manifest().id, "com.example.a");
        const ArchiveEntry* entry = package.archive().find("a.txt");
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(package.read(*entry, kContent.size()), kContent);
        EXPECT_THROW(package.read(*entry, kContent.size() - 1), Error) << "the caller's limit";
    }
}

TEST(Archive, RefusesAnotherEndOrDirectory) {
    const std::string whole = base().bytes();
    const std::vector<Row> rows = {
        {"empty file", ""},
        {"too short", whole.substr(whole.size() - 21)},
        {"no end record", whole.substr(0, whole.size() - 1)},
        {"a byte behind the end", endRecord([](auto& e) { e.after = "x"; })},
        {"a comment", endRecord([](auto& e) { e.comment = "x"; })},
        {"an end in the comment",
         endRecord([](auto& e) { e.comment = "PK\5\6" + std::string(18, '\0'); })},
        {"more entries claimed", endRecord([](auto& e) { e.entriesHere = ++e.entries; })},
        {"fewer entries claimed", endRecord([](auto& e) { e.entriesHere = --e.entries; })},
        {"counts disagree", endRecord([](auto& e) { --e.entriesHere; })},
        {"second disk", endRecord([](auto& e) { e.disk = 1; })},
        {"directory on another disk", endRecord([](auto& e) { e.directoryDisk = 1; })},
        {"directory elsewhere", endRecord([](auto& e) { --e.directoryOffset; })},
        {"directory before the file", endRecord([](auto& e) { e.directorySize = 0xFFFFFF00; })},
        {"gap behind the directory", endRecord([](auto& e) { e.before = "gap"; })},
        {"zip64 mark without record", endRecord([](auto& e) { e.directoryOffset = 0xFFFFFFFF; })},
        {"zip64 record disagrees", endRecord([](auto& e) {
             e.before = zip64End(e);
             e.entriesHere = ++e.entries;
         })},
        {"zip64 locator points elsewhere", endRecord([](auto& e) {
             e.before = zip64End(e);
             ++e.before[64];
         })},
        {"zip64 locator without record",
         endRecord([](auto& e) { e.before = zip64End(e).substr(56); })},
    };
    expectRefused(rows, Status::packageDamaged);
}

TEST(Archive, RefusesEntriesThatAreNotBackToBack) {
    const std::string hidden = PackageBuilder().file("hidden", "x").bytes().substr(0, 39);
    const auto overlap = [](PlannedEntry& e) {
        e.both([](auto& h) { h.size = h.compressedSize = 33; });
    };
    const std::vector<Row> rows = {
        {"bytes before the first entry", "MZ" + base().bytes()},
        {"bytes before the first entry, offsets right",
         PackageBuilder().file("a", "x").change([](auto& e) { e.before = "MZ"; }).bytes()},
        {"gap behind the last entry", entry([](auto& e) { e.after = "x"; })},
        {"entry that the directory hides", entry([&](auto& e) { e.before = hidden; })},
        {"two records of one entry", entry([](auto& e) { e.offset = 0; })},
        {"data that runs over the next entry",
         base().stored("a", "x").change(overlap).stored("b", "x").bytes()},
        {"offset behind the file", entry([](auto& e) { e.offset = 0x7FFFFFFF; })},
        {"offset in the directory", entry([](auto& e) { e.offset = 400; })},
        {"data longer than its room", bothHeaders([](auto& h) { ++h.compressedSize; })},
        {"data shorter than its room", bothHeaders([](auto& h) { --h.compressedSize; })},
        {"on another disk", entry([](auto& e) { e.disk = 1; })},
    };
    expectRefused(rows, Status::packageDamaged);
}

TEST(Archive, RefusesHeadersThatDisagree) {
    const auto descriptor = [](const std::string& signature, const auto& change) {
        return entry([&](PlannedEntry& e) {
            addDescriptor(e, signature, 4);
            change(e.after);
        });
    };
    const auto extra = [](const std::string& field) {
        return bothHeaders([&](auto& h) { h.extra = field; });
    };
    const std::vector<Row> rows = {
        {"name", localHeader([](auto& h) { h.name = "b.txt"; })},
        {"flags", localHeader([](auto& h) { h.flags = 0; })},
        {"method", localHeader([](auto& h) { h.method = 0; })},
        {"CRC", localHeader([](auto& h) { ++h.crc; })},
        {"size", localHeader([](auto& h) { ++h.size; })},
        {"compressed size", localHeader([](auto& h) { ++h.compressedSize; })},
        {"no local signature", "x" + base().bytes().substr(1)},
        {"descriptor missing", descriptor("", [](auto& after) { after.clear(); })},
        {"descriptor of another length", descriptor("", [](auto& after) { after += "x"; })},
        {"descriptor without signature", descriptor("PK\7\7", [](auto&) {})},
        {"descriptor with another CRC", descriptor("", [](auto& after) { ++after[0]; })},
        {"descriptor with another size", descriptor("", [](auto& after) { ++after[8]; })},
        {"zip64 descriptor of a plain entry", entry([](auto& e) {
             addDescriptor(e, "", 8);
             e.local.extra.clear();
             e.local.size = e.local.compressedSize = 0;
         })},
        {"stored with two sizes", bothHeaders([](auto& h) { h.method = 0; })},
        {"folder with content", base().stored("a/", "x", 040755).bytes()},
        {"extra field cut off", extra(littleEndian(7, 2))},
        {"extra field too long", extra(littleEndian(7, 2) + littleEndian(5, 2) + "four")},
        {"zip64 that nothing asks for", extra(zip64Extra({12}))},
        {"zip64 twice", extra(zip64Extra({}) + zip64Extra({}))},
        {"zip64 missing", bothHeaders([](auto& h) { h.size = 0xFFFFFFFF; })},
        {"zip64 too short", zip64Sizes({12})},
        {"zip64 with a number too many", zip64Sizes({12, 12, 0, 0})},
        {"zip64 with one size of two", bothHeaders([](auto& h) {
             h.extra = zip64Extra({h.size});
             h.size = 0xFFFFFFFF;
         })},
        {"a second name", extra(nameAgain("b.txt"))},
    };
    expectRefused(rows, Status::packageDamaged);
}

TEST(Archive, RefusesWhatItCannotRead) {
    std::vector<Row> rows;
    for (const unsigned bit : {0U, 4U, 5U, 6U, 7U, 12U, 13U, 15U})
        rows.push_back({"flag " + std::to_string(bit), bothHeaders([&](auto& h) {
                            h.flags = static_cast<std::uint16_t>(h.flags | 1U << bit);
                        })});
    for (const unsigned method : {1U, 9U, 12U, 14U, 93U, 99U})
        rows.push_back({"method " + std::to_string(method), bothHeaders([&](auto& h) {
                            h.method = static_cast<std::uint16_t>(method);
                        })});
    expectRefused(rows, Status::packageUnsupported);
}

TEST(Archive, RefusesPathsThatEscapeOrCollide) {
    std::vector<std::string> escaping = {"a\0b"s, kLongestName + "c", kLongestPath + "/x",
                                         deepPath(32)};
    for (const char* name : {"", "..", "../x", "a/../../x", "a/./x", "a//x", "/etc/passwd", "C:x",
                             "c:/x", "a\\..\\x", "a\nb", "a\x1B[31m", "a\x7F", "a\xC2\x85", "\xFF",
                             "\xC0\xAE\xC0\xAE/x", "\xED\xA0\x80", "\xE2\x82"})
        escaping.emplace_back(name);
    const std::pair<const char*, const char*> colliding[] = {
        {"a", "a"},
        {"a.txt", "A.TXT"},
        {"x", "Extension.JSON"},
        {"x", "extension.json/x"},
        {"\xC3\xA9", "e\xCC\x81"},
        {"\xC3\xA9", "\xC3\x89"},
        {"\xC3\x9F", "SS"},
        {"\xE2\x84\xAA", "k"},
        {"a/B/c/x", "a/b/c/y"},
        {"\xCE\xB1\xCC\x81\xCD\x85", "\xCE\xB1\xCD\x85\xCC\x81"},
        {"a", "a/x"},
        {"a/b/x", "A"}};
    std::vector<Row> rows = {
        {"folder without a name", base().folder("").bytes()},
        {"folder with two slashes", base().folder("a/").bytes()},
        {"folder and file", base().folder("a").file("a", "x").bytes()},
        {"folder in two cases", base().folder("a").folder("A").bytes()},
    };
    for (const auto& name : escaping)
        rows.push_back({"path " + name, base().file(name, "x").bytes()});
    for (const auto& [first, second] : colliding)
        rows.push_back(
            {first + " and "s + second, base().file(first, "").file(second, "").bytes()});
    expectRefused(rows, Status::packageUnsafe);
}

TEST(Archive, RefusesWhatIsNoPlainFileOrFolder) {
    std::vector<Row> rows = {
        {"link made by DOS",
         base().stored("a", "", 0120777).change([](auto& e) { e.madeBy = 0; }).bytes()},
        {"folder with set-group-id", mode(042755, "a/")},
        {"folder by its mode", mode(040755)},
        {"file by its mode", mode(0100644, "a/")},
        {"folder by its DOS attributes", dosAttributes(0x10)},
        {"volume label", dosAttributes(0x08)},
        {"reparse point", dosAttributes(0x400)},
    };
    // Link, pipe, devices, socket, set-user-id, set-group-id without a type.
    for (const unsigned bits : {0120777U, 010644U, 020644U, 060644U, 0140644U, 0104755U, 02755U})
        rows.push_back({"mode " + std::to_string(bits), mode(bits)});
    expectRefused(rows, Status::packageUnsafe);
}

TEST(Archive, RefusesMoreThanTheLimits) {
    PackageBuilder many = base();
    for (int i = 0; i < 10'000; ++i)
        many.stored("f" + std::to_string(i), "");
    const std::vector<Row> rows = {
        {"entries", many.bytes()},
        {"file", bothHeaders([](auto& h) { h.size = (256U << 20) + 1; })},
        {"file of zip64 size", bothHeaders([](auto& h) {
             h.extra = zip64Extra({~0ULL, h.compressedSize});
             h.size = h.compressedSize = 0xFFFFFFFF;
         })},
        {"ratio", base().file("zeros", std::string(20U << 20, '\0')).bytes()},
        {"directory", entry([](auto& e) {
             e.comment = std::string(65000, 'x');
             e.central.extra =
                 littleEndian(7, 2) + littleEndian(60000, 2) + std::string(60000, 'x');
         })},
        {"manifest",
         PackageBuilder().stored("extension.json", std::string(2U << 20, ' ')).bytes()}};
    expectRefused(rows, Status::packageTooLarge);

    PackageLimits limits;
    limits.entries = 8;
    limits.totalBytes = 1000;
    expectRefused({{"folders", base().file("1/2/3/4/5/6/7/8/9/x", "x").bytes()},
                   {"in all", base().stored("a", std::string(999, 'a')).bytes()}},
                  Status::packageTooLarge, limits);
}

TEST(Archive, RefusesAPackageWithoutItsManifest) {
    expectRefused({{"empty archive", PackageBuilder().bytes()},
                   {"a folder", PackageBuilder().folder("extension.json").bytes()},
                   {"no JSON", PackageBuilder().file("extension.json", "no").bytes()},
                   {"no object", PackageBuilder().file("extension.json", "[]").bytes()}},
                  Status::manifestInvalid);
}

TEST(Archive, RefusesWhatIsNoRegularFile) {
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    for (const std::string& path :
         {folder / "none", folder / "pipe", folder.path().string(), "/dev/zero"s, ""s})
        expectStatus(Status::packageUnreadable, path, [&] { Package::open(path); });
}

}  // namespace
}  // namespace tavik::testing
