// Writes packages of every form to a folder, for the fuzzer to start from.

#include <string>

#include "tests/support/PackageBuilder.h"

using tavik::testing::littleEndian;
using tavik::testing::PackageBuilder;
using tavik::testing::PlannedEntry;
using tavik::testing::PlannedHeader;
using tavik::testing::zip64Extra;

int main(int count, char** arguments) {
    const std::string folder = count > 1 ? arguments[1] : ".";
    const PackageBuilder base = PackageBuilder("a", "1").folder("d").file("d/x", "hello hello");
    base.write(folder + "/plain");
    PackageBuilder(base).stored("s", "stored", 0100755).write(folder + "/stored");
    PackageBuilder(base).file("large", std::string(5U << 20, 'x')).write(folder + "/large");
    PackageBuilder(base)
        .change([](PlannedEntry& e) {
            e.both([](PlannedHeader& h) { h.flags |= 8; });
            e.after = "PK\7\10" + littleEndian(e.central.crc, 4) +
                      littleEndian(e.central.compressedSize, 4) + littleEndian(e.central.size, 4);
        })
        .write(folder + "/descriptor");
    PackageBuilder(base)
        .change([](PlannedEntry& e) {
            e.both([](PlannedHeader& h) {
                h.extra = zip64Extra({h.size, h.compressedSize});
                h.size = h.compressedSize = 0xFFFFFFFF;
            });
        })
        .write(folder + "/zip64");
    return 0;
}
