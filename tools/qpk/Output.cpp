#include "tools/qpk/Output.h"

#include <array>
#include <charconv>
#include <iostream>

#include "platform/support/Text.h"
#include "tools/qpk/PackageCheck.h"

namespace tavik::qpk {

void printLine(const std::string& text) {
    std::cout << printable(text) << '\n';
}

void printProblem(const std::string& text) {
    std::cerr << "qpk: " << printable(text) << '\n';
}

int refuseFor(const std::string& subject, const std::vector<Fault>& faults) {
    for (const std::string& line : describeFaults(faults))
        printProblem(subject + ": " + line);
    printProblem("nothing was written; correct " + counted(faults.size(), "fault"));
    return 1;
}

std::string counted(std::uint64_t number, const std::string& thing) {
    return std::to_string(number) + " " + thing + (number == 1 ? "" : "s");
}

std::string readableSize(std::uint64_t bytes) {
    constexpr std::array<const char*, 4> kUnits = {"KiB", "MiB", "GiB", "TiB"};
    if (bytes < 1024)
        return counted(bytes, "byte");
    double size = static_cast<double>(bytes) / 1024;
    std::size_t unit = 0;
    while (size >= 1023.95 && unit + 1 < kUnits.size()) {
        size /= 1024;
        ++unit;
    }
    std::array<char, 32> text{};
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), size, std::chars_format::fixed, 1);
    return std::string(text.data(), end.ptr) + " " + kUnits[unit];
}

}  // namespace tavik::qpk
