#include "platform/support/ProgressLine.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <string>

#include "platform/support/FileDescriptor.h"

namespace tavik {
namespace {

constexpr std::size_t kBarWidth = 30;
constexpr std::chrono::milliseconds kInterval{100};
constexpr std::uint64_t kTenthOfMegabyte = 100'000;

/// Without words, so that it needs no language: "[#####-----]  50 %  9.2 MB".
std::string draw(std::uint64_t done, std::uint64_t total) {
    const double share =
        total == 0 ? 0 : static_cast<double>(std::min(done, total)) / static_cast<double>(total);
    const auto filled = static_cast<std::size_t>(share * static_cast<double>(kBarWidth));
    const auto percent = std::to_string(static_cast<int>(share * 100));
    const auto tenths = done / kTenthOfMegabyte;
    return "[" + std::string(filled, '#') + std::string(kBarWidth - filled, '-') + "] " +
           std::string(3 - percent.size(), ' ') + percent + " %  " + std::to_string(tenths / 10) +
           "." + std::to_string(tenths % 10) + " MB";
}

}  // namespace

ProgressLine::ProgressLine(int descriptor, std::chrono::milliseconds after)
    : descriptor_(descriptor),
      isTerminal_(::isatty(descriptor) == 1),
      next_(Clock::now() + after) {}

ProgressLine::~ProgressLine() {
    // Overwritten with blanks: not every terminal knows how to erase a line.
    if (width_ == 0)
        return;
    std::array<char, 128> blanks{};
    blanks.fill(' ');
    blanks[0] = '\r';
    const std::size_t width = std::min(width_, blanks.size() - 2);
    blanks[width + 1] = '\r';
    writeAll(descriptor_, {blanks.data(), width + 2});
}

void ProgressLine::show(std::uint64_t done, std::uint64_t total) noexcept {
    if (!isTerminal_ || Clock::now() < next_)
        return;
    try {
        std::string line = draw(done, total);
        const std::size_t width = line.size();
        line.resize(std::max(width, width_), ' ');
        writeAll(descriptor_, "\r" + line);
        width_ = std::max(width, width_);
    } catch (const std::exception&) {
        // There is no memory for the line: nothing is shown.
    }
    next_ = Clock::now() + kInterval;
}

}  // namespace tavik
